#include "content/identity_content.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "content/image_area.h"

namespace idcardreader {
namespace {

// "key":[0,1,...,99,0,...], so that a byte tells where it comes from.
std::string Array(const std::string& key, int count) {
  std::string text = '"' + key + "\":[";
  for (int index = 0; index < count; ++index) {
    text += (index == 0 ? "" : ",") + std::to_string(index % 100);
  }
  return text + "]";
}

std::vector<std::uint8_t> ArrayBytes(int first, int count) {
  std::vector<std::uint8_t> bytes;
  for (int index = first; index < first + count; ++index) {
    bytes.push_back(static_cast<std::uint8_t>(index % 100));
  }
  return bytes;
}

const std::string kImage = Array("image", 1025);

IdentityContent Parse(const std::string& text) { return ParseIdentityContent(text, true, false); }

IdentityContent ParseCard(const std::string& type, const std::string& object,
                          const std::string& fields) {
  return Parse(R"({"type":")" + type + R"(",")" + object + R"(":{)" + fields + "}}");
}

std::map<int, std::string> Fields(const IdentityContent& content) {
  std::map<int, std::string> fields;
  for (const auto& [item, text] : content.entries) fields.emplace(static_cast<int>(item), text);
  return fields;
}

const std::string kTexts =
    R"("name":"李 四","sex":"男","nation":"汉","birthday":"19900102","address":"上海市浦东新区 1 号",)"
    R"("id":"310115199001020010","issue":"公安 部","startDate":"20200101","endDate":"长期",)";
TEST(IdentityContent, TakesTheFirstTypeWordOfTheListThatIsThere) {
  const std::pair<const char*, int> rows[] = {{R"({"type":"x-iden-y"})", 1},
                                              {R"({"type":"yjznew,yjzold,gat,iden"})", 1},
                                              {R"({"type":"yjznewgat"})", 2},
                                              {R"({"type":"yjznewyjzold"})", 3},
                                              {R"({"type":"yjznew"})", 4},
                                              {R"({"type":"ide"})", -1},
                                              {R"({"type":"IDEN"})", -1},
                                              {R"({"type":""})", -1},
                                              {R"({"type":"iden)", -1},
                                              {R"({"kind":"iden"})", -1},
                                              {"x", -1}};
  for (const auto& [text, type] : rows) {
    const IdentityContent content = Parse(text);
    EXPECT_EQ(content.typeKnown ? static_cast<int>(content.type) : -1, type) << text;
    EXPECT_EQ(content.entries.empty(), !content.typeKnown) << text;
  }
}

TEST(IdentityContent, SearchesTheCardsObjectAloneUpToItsFirstBrace) {
  auto fields = Fields(Parse(R"({"sex":"x","type":"gat","gatCard":{"id":"1","inner":{"a":"b"},)"
                             R"("name":"late"},"issue":"out"})"));
  EXPECT_EQ(fields.at(32), "1");
  EXPECT_EQ(fields.at(35) + fields.at(34) + fields.at(37), "");
  fields = Fields(ParseCard("gat", "otherCard", kTexts + kImage));
  EXPECT_EQ(fields.at(35), "");
  EXPECT_EQ(fields.at(50), "Success");
  EXPECT_EQ(fields.count(29), 0U);
  fields = Fields(ParseCard("iden", "otherCard", kTexts + kImage));
  EXPECT_EQ(fields.at(28), std::string(512, '0'));
  EXPECT_EQ(fields.count(29) + fields.count(50), 0U);
}

TEST(IdentityContent, WithoutAnAnswerHasNoType) {
  const IdentityContent content =
      ParseIdentityContent(R"({"type":"iden","id":"7",)" + kImage + "}", false, true);
  const auto fields = Fields(content);
  EXPECT_TRUE(content.typeKnown);
  EXPECT_EQ(fields.at(32) + fields.at(50), "7Success");
  EXPECT_EQ(fields.count(29), 1U);
  EXPECT_EQ(fields.count(41) + fields.count(28), 0U);
}

TEST(IdentityContent, SplitsTheNationalityAtItsFirstSlash) {
  const auto split = [](const std::string& nationality) {
    auto fields = Fields(
        ParseCard("yjzold", "yjzOldCard", R"("nationlity":")" + nationality + R"(","id":"1")"));
    return fields.count(44) + fields.count(45) == 0 ? "none" : fields[44] + "|" + fields[45];
  };
  EXPECT_EQ(split("United States/USA"), "United States|USA");
  EXPECT_EQ(split(" a b / c/d "), " a b | c/d ");
  EXPECT_EQ(split("/"), "|");
  EXPECT_EQ(split("USA"), "none");
}

TEST(ImageArea, HoldsAPhotoFrom1025ElementsOn) {
  for (const int count : {0, 1023, 1024, 1025, 2330, 5000}) {
    EXPECT_EQ(ReadPhotoBlock("{" + Array("image", count) + "}"),
              ArrayBytes(0, count > 1024 ? 1024 : 0))
        << count;
  }
  EXPECT_TRUE(ReadPhotoBlock("{}").empty());
  EXPECT_EQ(Fields(ParseCard("iden", "idCard", Array("image", 1024))).count(50), 0U);
}

TEST(ImageArea, TakesARawFrameApart) {
  for (const int count :
       {0, 269, 270, 1293, 1294, 1295, 1806, 1807, 1808, 2318, 2319, 2320, 4000}) {
    const CardBlocks blocks = ReadRawFrame("{" + Array("data", count) + "}");
    const int fingerprint = count == 1807 ? 512 : (count == 2319 ? 1024 : 0);
    EXPECT_EQ(blocks.text, ArrayBytes(14, count >= 270 ? 256 : 0)) << count;
    EXPECT_EQ(blocks.photo, ArrayBytes(270, count >= 1294 ? 1024 : 0)) << count;
    EXPECT_EQ(blocks.fingerprint, ArrayBytes(1294, fingerprint)) << count;
  }
  // Without a photo in it there is the image.
  EXPECT_EQ(ReadRawFrame("{" + Array("data", 300) + "," + kImage + "}").photo, ArrayBytes(0, 1024));
  // A missing frame counts as one of zeros.
  const CardBlocks missing = ReadRawFrame("{" + kImage + "}");
  EXPECT_EQ(missing.text, std::vector<std::uint8_t>(256));
  EXPECT_EQ(missing.photo, std::vector<std::uint8_t>(1024));
  EXPECT_TRUE(missing.fingerprint.empty());
}

}  // namespace
}  // namespace idcardreader
