#include "support/array_elements.h"

#include <bit>
#include <cstring>

#include "support/hard_stop.h"

namespace idcardreader {
namespace {

constexpr std::size_t kLongestElement = 7;

// A photo is a thousand elements of one to four characters, of which no branch prediction foresees
// the next. So commas are found 64 bytes at a time, and digits are added up without a branch. The
// first byte of the text is the lowest of a word.
static_assert(std::endian::native == std::endian::little);
constexpr std::size_t kWord = sizeof(std::uint64_t);
constexpr std::size_t kBlock = 8 * kWord;
constexpr std::size_t kShortElement = sizeof(std::uint32_t);
constexpr std::uint64_t kEachByte = 0x0101010101010101;
constexpr std::uint64_t kLowBits = kEachByte * 0x7F;

template <typename Word>
Word Load(const char* text) {
  Word word = 0;
  std::memcpy(&word, text, sizeof word);
  return word;
}

// One bit for each byte, set where it is a comma.
std::uint64_t CommasOfWord(std::uint64_t word) {
  const std::uint64_t difference = word ^ (kEachByte * ',');
  const std::uint64_t highest = ~(((difference & kLowBits) + kLowBits) | difference | kLowBits);
  return (highest >> 7) * 0x0102040810204080 >> 56;
}

std::uint64_t CommasOfBlock(const char* text) {
  std::uint64_t commas = 0;
  for (std::size_t i = 0; i < kBlock / kWord; ++i) {
    commas |= CommasOfWord(Load<std::uint64_t>(text + i * kWord)) << (i * kWord);
  }
  return commas;
}

// atoi on a bounded text: blanks, a sign, digits up to the first other character. Seven characters
// cannot overflow.
int DecimalValue(std::string_view text) {
  std::size_t index = 0;
  while (index < text.size() &&
         (text[index] == ' ' || (text[index] >= '\t' && text[index] <= '\r'))) {
    ++index;
  }
  bool negative = false;
  if (index < text.size() && (text[index] == '-' || text[index] == '+')) {
    negative = text[index] == '-';
    ++index;
  }
  int value = 0;
  for (; index < text.size() && text[index] >= '0' && text[index] <= '9'; ++index) {
    value = value * 10 + (text[index] - '0');
  }
  return negative ? -value : value;
}

// The value of the last `size` characters of four, when they are digits, perhaps behind a minus;
// false for anything else.
bool ReadDigits(std::uint32_t characters, std::size_t size, bool minus, std::uint8_t& value) {
  const std::size_t otherBits = 8 * (kShortElement - size + static_cast<std::size_t>(minus));
  const std::uint64_t all = characters ^ static_cast<std::uint32_t>(kEachByte * '0');
  const std::uint64_t digits = all >> otherBits << otherBits;
  constexpr std::uint64_t kAboveNine = static_cast<std::uint32_t>(kEachByte * (0x7F - 9));
  if (((digits | (digits + kAboveNine)) & static_cast<std::uint32_t>(~kLowBits)) != 0) {
    return false;
  }
  const std::uint64_t pairs = digits * 10 + (digits >> 8);
  const auto number = static_cast<std::uint32_t>((pairs & 0xFF) * 100 + (pairs >> 16));
  value = static_cast<std::uint8_t>(minus ? 0 - number : number);
  return true;
}

class ElementReader {
 public:
  ElementReader(std::string_view elements, std::uint8_t* bytes, std::size_t capacity)
      : elements(elements), bytes(bytes), capacity(capacity) {}

  std::uint32_t Read() {
    std::size_t position = 0;
    for (; position + kBlock <= elements.size(); position += kBlock) {
      std::uint64_t commas = CommasOfBlock(elements.data() + position);
      for (; commas != 0; commas &= commas - 1) {
        TakeUpTo(position + static_cast<std::size_t>(std::countr_zero(commas)));
      }
    }
    for (; position < elements.size(); ++position) {
      if (elements[position] == ',') {
        TakeUpTo(position);
      }
    }
    if (begin < elements.size()) {
      TakeUpTo(elements.size());
    }
    return count;
  }

 private:
  void TakeUpTo(std::size_t end) {
    const std::string_view element = elements.substr(begin, end - begin);
    if (element.size() > kLongestElement) {
      HardStop("an array element of 8 or more characters");
    }
    if (count < capacity) {
      std::uint8_t value = 0;
      if (end < kShortElement || element.size() > kShortElement ||
          !ReadDigits(Load<std::uint32_t>(elements.data() + end - kShortElement), element.size(),
                      elements[begin] == '-', value)) {
        value = static_cast<std::uint8_t>(DecimalValue(element));
      }
      bytes[count] = value;
    }
    ++count;
    begin = end + 1;
  }

  std::string_view elements;
  std::uint8_t* bytes;
  std::size_t capacity;
  std::size_t begin = 0;  // of the next element
  std::uint32_t count = 0;
};

}  // namespace

std::uint32_t ReadElements(std::string_view elements, std::uint8_t* bytes, std::size_t capacity) {
  return ElementReader(elements, bytes, capacity).Read();
}

}  // namespace idcardreader
