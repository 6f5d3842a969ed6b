#include "api/export_support.h"

#include <algorithm>
#include <mutex>
#include <string>

#include "platform/mutex.h"
#include "platform/process_wide.h"

namespace idcardreader {
namespace {

constexpr std::size_t kReservedSize = 64 * 1024;

struct ResultText {
  platform::CSMutex lock;
  std::string text;
};

platform::ProcessWide<ResultText> result;

}  // namespace

const char* SetResultText(std::string_view text) {
  const std::lock_guard guard(result->lock);
  // A shorter text must not leave the end of the one before, nor must want of memory.
  std::fill(result->text.begin(), result->text.end(), '\0');
  result->text.clear();
  result->text.reserve(kReservedSize);
  result->text.assign(text);
  return result->text.c_str();
}

void ReleaseResultText() { result.Destroy(); }

}  // namespace idcardreader
