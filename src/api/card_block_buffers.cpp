#include "api/card_block_buffers.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <vector>

#include "idcardreader/idcardreader.h"
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

void FetchBlocks(ReaderEngine& engine) {
  const std::lock_guard guard(blockBuffers->lock);
  for (BlockBuffer& buffer : blockBuffers->buffers) {
    Fetch(engine, buffer);
  }
}

bool FetchBlock(ReaderEngine& engine, CardBlock block) {
  const std::lock_guard guard(blockBuffers->lock);
  return Fetch(engine, (*blockBuffers)[block]);
}

void DropBlocks() {
  const std::lock_guard guard(blockBuffers->lock);
  for (BlockBuffer& buffer : blockBuffers->buffers) {
    Drop(buffer);
  }
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

void ReleaseBlocks() { blockBuffers.Destroy(); }

}  // namespace idcardreader
