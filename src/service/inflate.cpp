#include "service/inflate.h"

#include <zlib.h>

#include <new>

namespace idcardreader {
namespace {

constexpr std::size_t kLargestRatio = 20;

// zlib keeps some of the content in memory of its own. This library's operator delete overwrites
// what it gives back.
voidpf Allocate(voidpf, uInt count, uInt size) {
  return ::operator new (std::size_t{count} * size, std::nothrow);
}
void Free(voidpf, voidpf memory) { ::operator delete(memory); }

}  // namespace

bool InflateResult::Complete() const { return status == Z_STREAM_END && !output.empty(); }

InflateResult Inflate(const std::vector<std::uint8_t>& compressed) {
  InflateResult result{Z_OK, std::string(compressed.size() * kLargestRatio, '\0')};
  z_stream stream{};
  stream.zalloc = &Allocate;
  stream.zfree = &Free;
  result.status = inflateInit(&stream);
  if (result.status != Z_OK) {
    result.output.clear();
    return result;
  }
  stream.next_in = const_cast<Bytef*>(compressed.data());  // zlib only reads it
  stream.avail_in = static_cast<uInt>(compressed.size());
  stream.next_out = reinterpret_cast<Bytef*>(result.output.data());
  stream.avail_out = static_cast<uInt>(result.output.size());
  result.status = inflate(&stream, Z_FINISH);
  result.output.resize(stream.total_out);
  inflateEnd(&stream);
  return result;
}

}  // namespace idcardreader
