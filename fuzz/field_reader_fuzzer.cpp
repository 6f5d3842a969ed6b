#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <vector>

#include "base/expect.h"
#include "base/script.h"
#include "support/message_fields.h"
#include "support/throwing_hard_stop.h"

using namespace idcardreader;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr const char* kKeys[] = {"data", "type", "code", "id", "token", "image", "idCard", ""};
  const ThrowingHardStop throwing;
  fuzz::Script script(data, size);
  const std::size_t choice = script.Choice(std::size(kKeys) + 1);
  const std::string key = choice < std::size(kKeys) ? kKeys[choice] : script.ShortText();
  std::vector<std::uint8_t> bytes(script.Byte());
  const std::string text = script.Rest();
  try {
    const std::size_t position = FindKey(text, key);
    const bool found = position != kKeyNotFound;
    fuzz::Expect(!found || (position > 0 && text[position - 1] == ':'),
                 "a position stands behind a colon");

    const auto value = ReadValue(text, key);
    fuzz::Expect(!value || (found && fuzz::Within(*value, text.substr(position))),
                 "a value stands behind its key");

    std::string trailing;
    const std::int32_t trailingLength = ReadTrailingString(text, key, trailing);
    fuzz::Expect(fuzz::Within(trailing, text), "a string is part of the text");
    fuzz::Expect(trailingLength == static_cast<std::int32_t>(trailing.size()) - 1,
                 "a length is its string's, less one");

    std::string object;
    const std::int32_t objectLength = ReadObject(text, key, object);
    fuzz::Expect(objectLength == -1 ? object.empty() : object.back() == '}',
                 "an object ends with its bracket");
    fuzz::Expect(fuzz::Within(object, text), "an object is part of the text");

    const std::uint32_t count = ReadByteArray(text, key, bytes.data(), bytes.size());
    fuzz::Expect(count == kArrayNotFound || count <= text.size(),
                 "an array has no more elements than characters");
    if (count != kArrayNotFound) {
      std::istringstream elements(text.substr(position + 1));
      std::string element;
      for (std::size_t i = 0; i < std::min<std::size_t>(count, bytes.size()); ++i) {
        std::getline(elements, element, ',');
        fuzz::Expect(bytes[i] == static_cast<std::uint8_t>(std::atoi(element.c_str())),
                     "an element is its decimal number");
      }
    }
  } catch (const ThrowingHardStop::Stopped&) {
  }
  return 0;
}
