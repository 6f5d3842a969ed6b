#include "api/card_blocks.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <vector>

#include "api/engine_use.h"
#include "api/export_support.h"
#include "idcardreader/idcardreader.h"
#include "platform/files.h"
#include "platform/mutex.h"
#include "platform/process_wide.h"
#include "support/result_items.h"

namespace idcardreader {
namespace {

struct BlockBuffer {
  ResultItem item;
  std::size_t leastRoom;
  bool held = false;
  std::vector<std::uint8_t> bytes;
};

struct BlockBuffers {
  platform::CSMutex lock;
  std::array<BlockBuffer, 3> buffers = {
      BlockBuffer{ResultItem::text_block, IDCARDREADER_TEXT_BLOCK_BYTES, false, {}},
      BlockBuffer{ResultItem::photo_block, IDCARDREADER_PHOTO_BLOCK_BYTES, false, {}},
      BlockBuffer{ResultItem::fingerprint_block, IDCARDREADER_FINGERPRINT_BLOCK_BYTES, false, {}}};

  BlockBuffer& operator[](CardBlock block) { return buffers[static_cast<std::size_t>(block)]; }
};

platform::ProcessWide<BlockBuffers> blockBuffers;

constexpr std::size_t kLargestBlock = IDCARDREADER_PHOTO_BLOCK_BYTES;
static_assert(kLargestBlock >= IDCARDREADER_TEXT_BLOCK_BYTES &&
              kLargestBlock >= IDCARDREADER_FINGERPRINT_BLOCK_BYTES);

void Drop(BlockBuffer& buffer) {
  buffer.held = false;
  std::fill(buffer.bytes.begin(), buffer.bytes.end(), std::uint8_t{0});
  buffer.bytes.clear();
}

bool Fetch(ReaderEngine& engine, BlockBuffer& buffer) {
  Drop(buffer);
  buffer.held = engine.GetResultBytes(buffer.item, buffer.bytes);
  return buffer.held;
}

}  // namespace

bool ReadCardBlocking() {
  const bool succeeded = Guarded(false, [] {
    const EngineUse engine = UseOrCreateEngineToRead();
    return engine && engine->ReadCardStartRead([&engine] {
      const std::lock_guard guard(blockBuffers->lock);
      for (BlockBuffer& buffer : blockBuffers->buffers) {
        Fetch(*engine, buffer);
      }
    });
  });
  return succeeded || Guarded(false, [] {
           const std::lock_guard guard(blockBuffers->lock);
           for (BlockBuffer& buffer : blockBuffers->buffers) {
             Drop(buffer);
           }
           SetResultText({});
           return false;
         });
}

bool FetchBlock(ReaderEngine& engine, CardBlock block) {
  const std::lock_guard guard(blockBuffers->lock);
  return Fetch(engine, (*blockBuffers)[block]);
}

bool HoldsBlock(CardBlock block) {
  const std::lock_guard guard(blockBuffers->lock);
  return (*blockBuffers)[block].held;
}

bool CopyBlock(CardBlock block, std::uint8_t* buffer, std::uint32_t* length) {
  const std::lock_guard guard(blockBuffers->lock);
  const BlockBuffer& held = (*blockBuffers)[block];
  if (!held.held || held.bytes.empty()) {
    return false;
  }
  const std::size_t count = std::min(held.bytes.size(), held.leastRoom);
  if (buffer != nullptr) {
    std::copy_n(held.bytes.begin(), count, buffer);
  }
  if (length != nullptr) {
    *length = static_cast<std::uint32_t>(count);
  }
  return true;
}

bool FindCard() {
  return WithEngine(UseOrCreateEngineTwice, false,
                    [](ReaderEngine& engine) { return engine.FindCard(); });
}

bool WriteBlockFile(CardBlock block, const char* fileName, std::uint32_t* length) {
  std::array<std::uint8_t, kLargestBlock> bytes;
  std::uint32_t count = 0;
  if (!CopyBlock(block, bytes.data(), &count)) {
    return false;
  }
  if (length != nullptr) {
    *length = count;
  }
  return platform::WriteToFile(platform::OpenAnsiFile(fileName, "wb+"),
                               {reinterpret_cast<const char*>(bytes.data()), count});
}

bool ReplaceBlockFile(CardBlock block, const char* fileName) {
  if (CopyBlock(block, nullptr, nullptr)) {
    return WriteBlockFile(block, fileName, nullptr);
  }
  platform::RemoveAnsiFile(fileName);
  return false;
}

void ReleaseBlocks() { blockBuffers.Destroy(); }

}  // namespace idcardreader
