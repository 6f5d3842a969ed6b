#include "support/field_reader.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "support/bytes.h"
#include "support/throwing_hard_stop.h"

namespace idcardreader {
namespace {

struct FindCase {
  const char* text;
  const char* key;
  const char* rest;  // what stands behind the colon; null when the key is not found
};

TEST(FieldReader, TheFirstQuotedKeyCountsWhereverItStands) {
  constexpr FindCase kCases[] = {
      {R"({"id":"7"})", "id", R"("7"})"},
      {R"({"cardid":"1","id":"2"})", "id", R"("2"})"},
      {R"({"kind":"id","name":"x"})", "id", R"("x"})"},  // a value that looks like the key
      {R"({"a":{"id":"in"},"id":"out"})", "id", R"("in"},"id":"out"})"},
      {R"({"id" , "b" : 3})", "id", " 3}"},  // the next colon, whosever it is
      {R"({"id"})", "id", nullptr},
      {R"({"id2":"1"})", "id", nullptr},
      {R"({id:"1"})", "id", nullptr},
      {R"({"id":)", "id", ""},
      {"", "id", nullptr},
      {R"({"":"e"})", "", R"("e"})"},
      {R"({"abcdefghijabcdefghijabcdefghi":1})", "abcdefghijabcdefghijabcdefghi", "1}"},
  };
  for (const FindCase& row : kCases) {
    const std::string text = row.text;
    const std::size_t found = FindKey(text, row.key);
    if (row.rest == nullptr) {
      EXPECT_EQ(found, kKeyNotFound) << text;
    } else {
      ASSERT_LE(found, text.size()) << text;
      EXPECT_EQ(text.substr(found), row.rest) << text;
    }
  }
}

struct ValueCase {
  const char* text;
  const char* value;  // null when there is none
};

TEST(FieldReader, AValueEndsAtTheNextQuoteOrElseAtTheBrace) {
  constexpr ValueCase kCases[] = {
      {R"({"code":"00","token":"ab"})", "00"},
      {R"({"code":""})", ""},
      {R"({"code":00})", "00"},
      {R"({"code":00,"token":"ab"})", R"(00,"token":"ab")"},
      {R"({"code": "00"})", R"( "00")"},
      {R"({"code":"a\"b"})", "a\\"},
      {R"({"code":"00)", nullptr},
      {R"({"code":00)", nullptr},
      {R"({"code":)", nullptr},
      {R"({"cod":"00"})", nullptr},
  };
  for (const ValueCase& row : kCases) {
    const auto value = ReadValue(row.text, "code");
    EXPECT_EQ(value.has_value(), row.value != nullptr) << row.text;
    EXPECT_EQ(value.value_or("?"), row.value == nullptr ? "?" : row.value) << row.text;
  }
}

TEST(FieldReader, ATrailingStringEndsAtQuoteAndBraceTogether) {
  constexpr ValueCase kCases[] = {
      {R"({"name":"ab"})", "ab"},
      {R"({"name":"ab","sex":"1"})", R"(ab","sex":"1)"},
      {R"({"name": "00"})", R"("00)"},
      {R"({"name":[xy"}})", "xy"},  // the first character is not looked at
      {R"({"name":""})", ""},
      {R"({"name":"}"})", "}"},
      {R"({"name":"ab" })", nullptr},
      {R"({"name":)", nullptr},
      {R"({"names":"ab"})", nullptr},
  };
  for (const ValueCase& row : kCases) {
    std::string value = "as before";
    const std::int32_t result = ReadTrailingString(row.text, "name", value);
    const std::string expected = row.value == nullptr ? "as before" : row.value;
    EXPECT_EQ(value, expected) << row.text;
    EXPECT_EQ(result, row.value == nullptr ? -1 : static_cast<std::int32_t>(expected.size()) - 1)
        << row.text;
  }
}

TEST(FieldReader, AnObjectEndsAtItsFirstBrace) {
  constexpr ValueCase kCases[] = {
      {R"({"card":{"a":"1","b":"2"},"c":"3"})", R"({"a":"1","b":"2"})"},
      {R"({"card":{"a":{"b":"2"},"c":"3"}})", R"({"a":{"b":"2"})"},
      {R"({"x":1,"card":"last"})", R"("last"})"},
      {R"({"card":})", "}"},
      {R"({"card":{"a":"1")", nullptr},
      {R"({"cards":{}})", nullptr},
  };
  for (const ValueCase& row : kCases) {
    std::string object = "as before";
    const std::int32_t result = ReadObject(row.text, "card", object);
    const std::string expected = row.value == nullptr ? "as before" : row.value;
    EXPECT_EQ(object, expected) << row.text;
    EXPECT_EQ(result, row.value == nullptr ? -1 : static_cast<std::int32_t>(expected.size()) - 1)
        << row.text;
  }
}

struct ArrayCase {
  const char* text;
  std::uint32_t count;
  const char* bytes;
};

TEST(FieldReader, AnArrayIsDecimalNumbersCutToBytes) {
  constexpr ArrayCase kCases[] = {
      {R"({"data":[-1,1,127]})", 3, "FF017F"},
      {R"({"data":[]})", 0, ""},
      {R"({"data":[0]})", 1, "00"},
      {R"({"data":[256,-129,300,-999999]})", 4, "007F2CC1"},
      {R"({"data":[1234567]})", 1, "87"},
      {R"({"data":[ 12,+3,4x5,x,, 7]})", 6, "0C0304000007"},
      {R"({"data":[1,2,]})", 2, "0102"},
      {R"({"data":[1],"more":[2,3]})", 1, "01"},
      {R"({"data":17]})", 1, "07"},  // the first character is not looked at
      {R"({"data":[1,2})", kArrayNotFound, ""},
      {R"({"data":)", kArrayNotFound, ""},
      {R"({"date":[1]})", kArrayNotFound, ""},
  };
  for (const ArrayCase& row : kCases) {
    std::array<std::uint8_t, 8> area{};
    EXPECT_EQ(ReadByteArray(row.text, "data", area.data(), area.size()), row.count) << row.text;
    std::array<std::uint8_t, 8> expected{};
    const auto bytes = Bytes(row.bytes);
    std::copy(bytes.begin(), bytes.end(), expected.begin());
    EXPECT_EQ(area, expected) << row.text;
  }
}

TEST(FieldReader, CountsButDoesNotStoreWhatTheAreaCannotHold) {
  std::array<std::uint8_t, 4> area = {0, 0, 0xEE, 0xEE};
  EXPECT_EQ(ReadByteArray(R"({"data":[1,2,3,4,5]})", "data", area.data(), 2), 5U);
  EXPECT_EQ(area, (std::array<std::uint8_t, 4>{1, 2, 0xEE, 0xEE}));
}

TEST(FieldReader, ALongKeyEndsTheProcess) {
  const ThrowingHardStop throwing;
  const std::string longest(29, 'k');
  std::string value;
  EXPECT_EQ(FindKey("{}", longest), kKeyNotFound);
  EXPECT_THROW(FindKey("{}", longest + 'k'), ThrowingHardStop::Stopped);
  EXPECT_THROW(ReadValue("{}", longest + 'k'), ThrowingHardStop::Stopped);
  EXPECT_THROW(ReadObject("{}", longest + 'k', value), ThrowingHardStop::Stopped);
}

TEST(FieldReader, ALongArrayElementEndsTheProcess) {
  const ThrowingHardStop throwing;
  std::uint8_t byte = 0;
  EXPECT_EQ(ReadByteArray(R"({"data":[-123456]})", "data", &byte, 1), 1U);
  EXPECT_THROW(ReadByteArray(R"({"data":[-1234567]})", "data", &byte, 1),
               ThrowingHardStop::Stopped);
  EXPECT_THROW(ReadByteArray(R"({"data":[1,       7]})", "data", &byte, 1),
               ThrowingHardStop::Stopped);
}

TEST(HardStopDeathTest, TheShippedHandlerAborts) {
  EXPECT_DEATH(HardStop("a test"), "");
  // A handler that returns does not save the process.
  EXPECT_DEATH(
      {
        SetHardStopHandler([](const char*) {});
        HardStop("a test");
      },
      "");
}

}  // namespace
}  // namespace idcardreader
