#include <cryptopp/modes.h>
#include <cryptopp/tea.h>

#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "pieces/piece.h"
#include "support/message_cipher.h"

// The peer works block by block as well (ECB) and gets its plain text with our pad, since it knows no
// such pad. Its key schedule is part of its work, as it is of ours.

namespace bench {
namespace {

using idcardreader::kMessageKey;
using Bytes = std::vector<std::uint8_t>;

const CryptoPP::byte* Key() { return reinterpret_cast<const CryptoPP::byte*>(kMessageKey.data()); }

Bytes Padded(Bytes plain) {
  const std::size_t pad = 8 - plain.size() % 8;
  plain.resize(plain.size() + pad, 0);
  plain.back() = static_cast<std::uint8_t>(pad);
  return plain;
}

Bytes EncipherOurs(const Bytes& plain) {
  const auto length = static_cast<std::int32_t>(plain.size());
  Bytes cipher(static_cast<std::size_t>(idcardreader::EncipheredLength(length)));
  idcardreader::Encipher(kMessageKey, plain.data(), length, cipher.data());
  return cipher;
}

Bytes DecipherOurs(const Bytes& cipher) {
  Bytes plain(cipher.size());
  idcardreader::Decipher(kMessageKey, cipher.data(), static_cast<std::int32_t>(cipher.size()),
                         plain.data());
  return plain;
}

template <typename Direction>
Bytes RunCryptoPp(const Bytes& input) {
  Direction cipher(Key(), kMessageKey.size());
  Bytes output(input.size());
  cipher.ProcessData(output.data(), input.data(), input.size());
  return output;
}

}  // namespace

// The answer with a key is the smallest message that is enciphered, a large card file the largest.
void AddCipherPieces() {
  using Mode = CryptoPP::ECB_Mode<CryptoPP::TEA>;
  for (const std::size_t size : {std::size_t{71}, std::size_t{1031}}) {
    const Bytes plain = devkit::PatternBytes(1, "plain text", size);
    const Bytes padded = Padded(plain);
    const Bytes cipher = EncipherOurs(plain);
    const std::string sizeText = ", " + std::to_string(size) + " bytes";
    Piece<Bytes>("encipher" + sizeText)
        .By(kOurs, [plain] { return EncipherOurs(plain); })
        .By("Crypto++", [padded] { return RunCryptoPp<Mode::Encryption>(padded); });
    Piece<Bytes>("decipher" + sizeText)
        .By(kOurs, [cipher] { return DecipherOurs(cipher); })
        .By("Crypto++", [cipher] { return RunCryptoPp<Mode::Decryption>(cipher); });
  }
}

}  // namespace bench
