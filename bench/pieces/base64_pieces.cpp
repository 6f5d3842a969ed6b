#include <openssl/evp.h>

#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "decode_service/content.h"
#include "pieces/piece.h"
#include "service/base64.h"

namespace bench {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes DecodeWithOpenSsl(const std::string& text) {
  Bytes bytes(text.size() / 4 * 3);
  EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                  static_cast<int>(text.size()));
  for (std::size_t pads = 0; pads < 2 && text[text.size() - 1 - pads] == '='; ++pads) {
    bytes.pop_back();  // it leaves the removal of the pad to its caller
  }
  return bytes;
}

}  // namespace

// As long as the content of a card in the service's answer.
void AddBase64Pieces() {
  const std::string text = devkit::Base64(devkit::PatternBytes(1, "base64", 2000));
  Piece<Bytes>("base64, " + std::to_string(text.size()) + " letters")
      .By(kOurs, [text] { return idcardreader::DecodeBase64(text); })
      .By("OpenSSL", [text] { return DecodeWithOpenSsl(text); });
}

}  // namespace bench
