#include "content/code_tables.h"

#include <algorithm>
#include <array>

namespace idcardreader {
namespace {

struct NamedCode {
  std::string_view name;
  std::string_view code;
};

constexpr std::array<NamedCode, 4> kSexCodes = {{
    {"未知", "0"},
    {"男", "1"},
    {"女", "2"},
    {"未说明", "9"},
}};

// The names are matched byte for byte against the service's text. Row 46 stands as the service
// spells it.
constexpr std::array<NamedCode, 60> kNationCodes = {{
    {"解码错", "00"}, {"汉", "01"},     {"蒙古", "02"},   {"回", "03"},       {"藏", "04"},
    {"维吾尔", "05"}, {"苗", "06"},     {"彝", "07"},     {"壮", "08"},       {"布依", "09"},
    {"朝鲜", "10"},   {"满", "11"},     {"侗", "12"},     {"瑶", "13"},       {"白", "14"},
    {"土家", "15"},   {"哈尼", "16"},   {"哈萨克", "17"}, {"傣", "18"},       {"黎", "19"},
    {"傈僳", "20"},   {"佤", "21"},     {"畲", "22"},     {"高山", "23"},     {"拉祜", "24"},
    {"水", "25"},     {"东乡", "26"},   {"纳西", "27"},   {"景颇", "28"},     {"柯尔克孜", "29"},
    {"土", "30"},     {"达斡尔", "31"}, {"仫佬", "32"},   {"羌", "33"},       {"布朗", "34"},
    {"撒拉", "35"},   {"毛南", "36"},   {"仡佬", "37"},   {"锡伯", "38"},     {"阿昌", "39"},
    {"普米", "40"},   {"塔吉克", "41"}, {"怒", "42"},     {"乌孜别克", "43"}, {"俄罗斯", "44"},
    {"鄂温克", "45"}, {"德昴", "46"},   {"保安", "47"},   {"裕固", "48"},     {"京", "49"},
    {"塔塔尔", "50"}, {"独龙", "51"},   {"鄂伦春", "52"}, {"赫哲", "53"},     {"门巴", "54"},
    {"珞巴", "55"},   {"基诺", "56"},   {"编码错", "57"}, {"其他", "97"},     {"外国血统", "98"},
}};

template <std::size_t Count>
std::string_view CodeOfName(const std::array<NamedCode, Count>& table, std::string_view name) {
  const auto row = std::find_if(table.begin(), table.end(),
                                [name](const NamedCode& entry) { return entry.name == name; });
  return row == table.end() ? std::string_view() : row->code;
}

}  // namespace

std::string_view SexCode(std::string_view name) { return CodeOfName(kSexCodes, name); }

std::string_view NationCode(std::string_view name) { return CodeOfName(kNationCodes, name); }

}  // namespace idcardreader
