#include "content/identity_content.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "content/image_area.h"
#include "support/bytes.h"
#include "support/hex_text.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Pair;

// The elements 0, 1, ... 99, 0, ... so that a byte tells where it comes from.
std::string Numbers(int count) {
  std::string numbers;
  for (int index = 0; index < count; ++index) {
    numbers += (index == 0 ? "" : ",") + std::to_string(index % 100);
  }
  return numbers;
}

std::vector<std::uint8_t> NumberBytes(int first, int count) {
  std::vector<std::uint8_t> bytes;
  for (int index = first; index < first + count; ++index) {
    bytes.push_back(static_cast<std::uint8_t>(index % 100));
  }
  return bytes;
}

std::string Image(int count) { return R"("image":[)" + Numbers(count) + "]"; }

std::string Card(const std::string& type, const std::string& object, const std::string& fields) {
  return R"({"type":")" + type + R"(",")" + object + R"(":{)" + fields + "}}";
}

IdentityContent Parse(const std::string& text) { return ParseIdentityContent(text, true, false); }

std::map<std::int32_t, std::string> Fields(const IdentityContent& content) {
  return {content.entries.begin(), content.entries.end()};
}

constexpr char kResidentFields[] =
    R"("name":"李 四","sex":"男","nation":"汉","birthday":"19900102","address":"上海市浦东新区 1 号",)"
    R"("id":"310115199001020010","issue":"公安 部","startDate":"20200101","endDate":"长期",)";

TEST(IdentityContent, OfAResidentCard) {
  const IdentityContent content = Parse(Card("idenCard", "idCard", kResidentFields + Image(1025)));
  EXPECT_TRUE(content.typeKnown);
  EXPECT_EQ(content.type, CardType::resident);
  ASSERT_EQ(content.entries.size(), 13U);
  EXPECT_EQ(content.entries[10].second.substr(0, 12), "4E672000DB56");  // the blank stays there
  EXPECT_EQ(content.entries[10].second.size(), 512U);
  EXPECT_THAT(
      content.entries,
      ElementsAre(Pair(41, "1"), Pair(32, "310115199001020010"),
                  Pair(33, Text("C9CFBAA3CAD0C6D6B6ABD0C2C7F831BAC5")),
                  Pair(34, Text("B9ABB0B2B2BF")), Pair(35, Text("C0EECBC4")),
                  Pair(36, Text("BABA")), Pair(37, Text("C4D0")), Pair(40, Text("B3A4C6DA")),
                  Pair(39, "20200101"), Pair(38, "19900102"), Pair(28, testing::_),
                  Pair(29, HexText(NumberBytes(0, 1024))), Pair(50, "Success")));
}

TEST(IdentityContent, OfAResidencePermit) {
  const IdentityContent content =
      Parse(Card("gat", "gatCard",
                 std::string(kResidentFields) + R"("passCheckId":"H 123","nationlity":"a/b")"));
  EXPECT_EQ(content.type, CardType::residence_permit);
  EXPECT_THAT(content.entries,
              ElementsAre(Pair(32, "310115199001020010"),
                          Pair(33, Text("C9CFBAA3CAD0C6D6B6ABD0C2C7F831BAC5")),
                          Pair(34, Text("B9ABB0B2B2BF")), Pair(35, Text("C0EECBC4")), Pair(36, ""),
                          Pair(37, Text("C4D0")), Pair(40, Text("B3A4C6DA")), Pair(39, "20200101"),
                          Pair(38, "19900102"), Pair(42, "H 123"), Pair(43, ""),
                          Pair(50, "Success"), Pair(41, "2")));
}

struct PermanentCase {
  const char* type;
  const char* object;
  const char* english;
  const char* digit;
};

TEST(IdentityContent, OfPermanentResidenceCards) {
  constexpr PermanentCase kCases[] = {
      {"yjzold", "yjzOldCard", "JOHNQ", "3"},
      {"yjznew", "yjzNewCard", "JOHNQPUBLIC", "4"},
  };
  for (const PermanentCase& row : kCases) {
    const IdentityContent content =
        Parse(Card(row.type, row.object,
                   R"("nameChinese":"约 翰","name":"no","nameEnglish":"JOHN Q",)"
                   R"("nameEnglishAdd":" PUB LIC","nationlity":"美国/USA","nation":"no",)"
                   R"("address":"no","sex":"男","id":"USA 1","passCheckId":"no",)" +
                       Image(1030)));
    EXPECT_THAT(content.entries,
                ElementsAre(Pair(32, "USA 1"), Pair(33, ""), Pair(34, ""), Pair(35, Gbk("约翰")),
                            Pair(36, ""), Pair(37, Text("C4D0")), Pair(40, ""),
                            Pair(44, Text("C3C0B9FA")), Pair(45, "USA"), Pair(39, ""), Pair(38, ""),
                            Pair(42, ""), Pair(43, row.english), Pair(50, "Success"),
                            Pair(41, row.digit), Pair(29, HexText(NumberBytes(0, 1024)))));
  }
}

struct DispatchCase {
  const char* text;
  CardType type;  // none: the type is unknown
};

TEST(IdentityContent, TakesTheFirstTypeWordOfTheListThatIsThere) {
  const DispatchCase kCases[] = {
      {R"({"type":"iden"})", CardType::resident},
      {R"({"type":"x-iden-y"})", CardType::resident},
      {R"({"type":"yjznew,yjzold,gat,iden"})", CardType::resident},
      {R"({"type":"yjznewgat"})", CardType::residence_permit},
      {R"({"type":"yjznewyjzold"})", CardType::permanent_residence_old},
      {R"({"type":"yjznew"})", CardType::permanent_residence_new},
      {R"({"type":"ide"})", CardType::none},
      {R"({"type":"IDEN"})", CardType::none},
      {R"({"type":"i"})", CardType::none},
      {R"({"type":""})", CardType::none},
      {R"({"type":"iden)", CardType::none},
      {R"({"kind":"iden"})", CardType::none},
      {"x", CardType::none},
  };
  for (const DispatchCase& row : kCases) {
    const IdentityContent content = Parse(row.text);
    EXPECT_EQ(content.type, row.type) << row.text;
    EXPECT_EQ(content.typeKnown, row.type != CardType::none) << row.text;
    EXPECT_EQ(content.entries.empty(), row.type == CardType::none) << row.text;
  }
}

TEST(IdentityContent, WithoutTheCardsObjectHasEmptyFields) {
  const auto resident = Fields(Parse(Card("iden", "otherCard", kResidentFields + Image(1025))));
  EXPECT_EQ(resident.at(32), "");
  EXPECT_EQ(resident.at(28), std::string(512, '0'));
  EXPECT_EQ(resident.count(29) + resident.count(50), 0U);
  const auto permit = Fields(Parse(Card("gat", "otherCard", kResidentFields + Image(1025))));
  EXPECT_EQ(permit.at(35), "");
  EXPECT_EQ(permit.at(50), "Success");
  EXPECT_EQ(permit.count(29), 0U);
}

TEST(IdentityContent, SearchesTheCardsObjectAloneUpToItsFirstBrace) {
  const auto fields =
      Fields(Parse(R"({"sex":"x","type":"gat","gatCard":{"id":"1","inner":{"a":"b"},)"
                   R"("name":"late"},"issue":"out"})"));
  EXPECT_EQ(fields.at(32), "1");
  EXPECT_EQ(fields.at(35) + fields.at(34) + fields.at(37), "");
}

TEST(IdentityContent, WithoutAnAnswerHasNoType) {
  const IdentityContent content =
      ParseIdentityContent(R"({"type":"iden","id":"7",)" + Image(1025) + "}", false, true);
  EXPECT_TRUE(content.typeKnown);
  const auto fields = Fields(content);
  EXPECT_EQ(fields.at(32), "7");
  EXPECT_EQ(fields.at(50), "Success");
  EXPECT_EQ(fields.count(29), 1U);
  EXPECT_EQ(fields.count(41) + fields.count(28), 0U);
}

TEST(IdentityContent, ALongNameSpoilsNoOtherField) {
  const std::string name(40, 'N');
  const auto fields = Fields(
      Parse(Card("iden", "idCard",
                 R"("name":")" + name + R"(","sex":"女","nation":"藏","id":"1",)" + Image(1025))));
  EXPECT_EQ(fields.at(35), name);
  EXPECT_EQ(fields.at(36), Gbk("藏"));
  EXPECT_EQ(fields.at(37), Gbk("女"));
  EXPECT_EQ(fields.at(28).substr(60, 12), "320030003400");
}

struct ConversionCase {
  const char* utf8;
  const char* gbk;
};

TEST(IdentityContent, ConvertsNamesAsWindowsDoes) {
  constexpr ConversionCase kCases[] = {
      {"\xEE\x80\x80", "AAA1"},                   // U+E000, where old cards keep rare characters
      {"\xEE\x9D\xA5", "A7A0"},                   // U+E765
      {"\xF0\xA0\xAE\xB7", "3F3F"},               // beyond 16 bits: one mark for each unit
      {"张\xE3\x80\x80三 \t", "D5C5A1A1C8FD09"},  // blanks alone are taken out
  };
  for (const ConversionCase& row : kCases) {
    const auto fields = Fields(
        Parse(Card("gat", "gatCard", std::string(R"("name":")") + row.utf8 + R"(","id":"1")")));
    EXPECT_EQ(fields.at(35), Text(row.gbk));
  }
}

struct NationalityCase {
  const char* text;
  bool split;
  const char* country;
  const char* code;
};

TEST(IdentityContent, SplitsTheNationalityAtItsFirstSlash) {
  constexpr NationalityCase kCases[] = {
      {"United States/USA", true, "United States", "USA"},
      {" a b / c/d ", true, " a b ", " c/d "},
      {"/", true, "", ""},
      {"USA", false, "", ""},
      {"", false, "", ""},
  };
  for (const NationalityCase& row : kCases) {
    const auto fields = Fields(Parse(Card(
        "yjzold", "yjzOldCard", std::string(R"("nationlity":")") + row.text + R"(","id":"1")")));
    EXPECT_EQ(fields.count(44) + fields.count(45), row.split ? 2U : 0U) << row.text;
    if (row.split) {
      EXPECT_EQ(fields.at(44), row.country);
      EXPECT_EQ(fields.at(45), row.code);
    }
  }
}

TEST(ImageArea, HoldsAPhotoFrom1025ElementsOn) {
  for (const int count : {0, 1, 1023, 1024}) {
    EXPECT_THAT(ReadPhotoBlock("{" + Image(count) + "}"), IsEmpty()) << count;
  }
  for (const int count : {1025, 2330, 5000}) {
    EXPECT_THAT(ReadPhotoBlock("{" + Image(count) + "}"), ElementsAreArray(NumberBytes(0, 1024)))
        << count;
  }
  EXPECT_THAT(ReadPhotoBlock("{}"), IsEmpty());
  EXPECT_EQ(Fields(Parse(Card("iden", "idCard", kResidentFields + Image(1024)))).count(50), 0U);
}

struct FrameCase {
  int count;
  bool text;
  bool photo;
  int fingerprint;
};

TEST(ImageArea, TakesARawFrameApart) {
  constexpr FrameCase kCases[] = {
      {0, false, false, 0},   {269, false, false, 0},   {270, true, false, 0},
      {1293, true, false, 0}, {1294, true, true, 0},    {1295, true, true, 0},
      {1806, true, true, 0},  {1807, true, true, 512},  {1808, true, true, 0},
      {2318, true, true, 0},  {2319, true, true, 1024}, {2320, true, true, 0},
      {2330, true, true, 0},  {4000, true, true, 0},
  };
  for (const FrameCase& row : kCases) {
    const CardBlocks blocks = ReadRawFrame(R"({"data":[)" + Numbers(row.count) + "]}");
    EXPECT_EQ(blocks.text, row.text ? NumberBytes(14, 256) : NumberBytes(0, 0)) << row.count;
    EXPECT_EQ(blocks.photo, row.photo ? NumberBytes(270, 1024) : NumberBytes(0, 0)) << row.count;
    EXPECT_EQ(blocks.fingerprint, NumberBytes(1294, row.fingerprint)) << row.count;
  }
}

TEST(ImageArea, TakesThePhotoFromTheImageWhenTheFrameHasNone) {
  const CardBlocks blocks = ReadRawFrame(R"({"data":[)" + Numbers(300) + "]," + Image(1025) + "}");
  EXPECT_EQ(blocks.photo, NumberBytes(0, 1024));
}

TEST(ImageArea, TakesAMissingFrameForOneOfZeros) {
  const CardBlocks blocks = ReadRawFrame("{" + Image(1025) + "}");
  EXPECT_EQ(blocks.text, std::vector<std::uint8_t>(256));
  EXPECT_EQ(blocks.photo, std::vector<std::uint8_t>(1024));
  EXPECT_THAT(blocks.fingerprint, IsEmpty());
}

}  // namespace
}  // namespace idcardreader
