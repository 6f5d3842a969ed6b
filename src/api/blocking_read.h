#pragma once

namespace idcardreader {

// The read behind readCardStart(0) and its sisters in the other families: reads one card and
// fetches its blocks; a failure drops the blocks that were held.
bool ReadCardBlocking();

}  // namespace idcardreader
