#pragma once

namespace idcardreader {

// Where the service is when no file says so: names that exist nowhere, so that no card block leaves
// the machine before somebody has said where to.
inline constexpr char kDefaultHost1[] = "decode1.idcardreader.invalid";
inline constexpr char kDefaultHost2[] = "decode2.idcardreader.invalid";
inline constexpr char kDefaultPort[] = "9999";

}  // namespace idcardreader
