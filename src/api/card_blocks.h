#pragma once

#include <cstdint>

#include "engine/reader_engine.h"

namespace idcardreader {

// The read behind readCardStart(0) and its sisters in the other families: reads one card and fetches
// its blocks; a failure drops the blocks that were held.
bool ReadCardBlocking();
// Asks once whether a card lies on the reader.
bool FindCard();

// The blocks of the last card that such a read brought, copied out of its record. They outlive the
// engine. Any thread may call these.
enum class CardBlock { text, photo, fingerprint };

// Replaces one by that of the engine's record; true when the record has it.
bool FetchBlock(ReaderEngine& engine, CardBlock block);

bool HoldsBlock(CardBlock block);
// Copies a block that is held and not empty, no more of it than the least buffer of its kind has room
// for, and stores its length, each where there is a place for it; otherwise touches nothing.
bool CopyBlock(CardBlock block, std::uint8_t* buffer, std::uint32_t* length);

// Writes a block that is held and not empty to a file, its bytes and nothing else, and stores its
// length when there is a place for it. True when the whole block is in the file.
bool WriteBlockFile(CardBlock block, const char* fileName, std::uint32_t* length);
// The same; without a block to be written the file is removed, since what it holds is another
// card's.
bool ReplaceBlockFile(CardBlock block, const char* fileName);

// When the library is unloaded.
void ReleaseBlocks();

}  // namespace idcardreader
