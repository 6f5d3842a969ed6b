#include <iconv.h>

#include <memory>

#include "pieces/piece.h"
#include "platform/code_page.h"

namespace bench {
namespace {

struct CloseConverter {
  void operator()(void* converter) const { iconv_close(converter); }
};

// With its converter open already.
std::string ConvertWithIconv(iconv_t converter, const std::string& utf8) {
  std::string gbk(utf8.size(), '\0');
  char* from = const_cast<char*>(utf8.data());
  std::size_t fromLeft = utf8.size();
  char* to = gbk.data();
  std::size_t toLeft = gbk.size();
  if (iconv(converter, &from, &fromLeft, &to, &toLeft) != 0) {
    throw std::runtime_error("iconv does not convert the text");
  }
  gbk.resize(gbk.size() - toLeft);
  return gbk;
}

}  // namespace

// The longest field of a card and the shortest.
void AddGbkPieces() {
  const std::shared_ptr<void> converter(iconv_open("GBK", "UTF-8"), CloseConverter());
  for (const char* text : {"女", "北京市东城区虚构路100号2单元301室"}) {
    const std::string utf8 = text;
    Piece<std::string>("UTF-8 to GBK, " + std::to_string(utf8.size()) + " bytes")
        .By(kOurs,
            [utf8] {
              return idcardreader::platform::Utf16ToGbk(idcardreader::platform::Utf8ToUtf16(utf8));
            })
        .By("iconv", [utf8, converter] { return ConvertWithIconv(converter.get(), utf8); });
  }
}

}  // namespace bench
