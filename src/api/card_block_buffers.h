#pragma once

#include <cstdint>

#include "engine/reader_engine.h"

namespace idcardreader {

enum class CardBlock { text, photo, fingerprint };

// The blocks of the last card that a blocking read brought, copied out of its record. They outlive
// the engine. Any thread may call these.

// Replaces all three by those of the engine's record.
void FetchBlocks(ReaderEngine& engine);
// Replaces one; true when the record has it.
bool FetchBlock(ReaderEngine& engine, CardBlock block);
void DropBlocks();

bool HoldsBlock(CardBlock block);
// Copies a block that is held and not empty, no more of it than the least buffer of its kind has room
// for, and stores its length, each where there is a place for it; otherwise touches nothing.
bool CopyBlock(CardBlock block, std::uint8_t* buffer, std::uint32_t* length);

// When the library is unloaded.
void ReleaseBlocks();

}  // namespace idcardreader
