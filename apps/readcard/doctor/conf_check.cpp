#include "doctor/conf_check.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <vector>

namespace readcard::doctor {
namespace {

constexpr std::size_t kLongestLine = 1023;
constexpr std::string_view kSeparator = ": ";
constexpr Text kWhat = {"Settings in conf.yaml", "conf.yaml中的设置"};

struct Line {
  int number = 0;
  std::string text;
};

bool IsKey(std::string_view key) {
  constexpr std::string_view kKeys[] = {"canLog", "canPrint", "vid",    "pid",
                                        "comnum", "comport",  "comname"};
  return std::find(std::begin(kKeys), std::end(kKeys), key) != std::end(kKeys);
}

bool IsSwitch(std::string_view key) { return key == "canLog" || key == "canPrint"; }

std::string Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(" \t") + 1 - first));
}

// "3: comport: 9600", so that whoever has the file open finds it.
std::string Place(const Line& line) { return std::to_string(line.number) + ": " + line.text; }

class Check {
 public:
  Check(std::string_view text, Findings& into) : findings(into) {
    if (text.starts_with("\xEF\xBB\xBF") || text.starts_with("\xFF\xFE") ||
        text.starts_with("\xFE\xFF")) {
      Complain(Level::fault, "conf.encoding-mark", {},
               {"The file begins with an encoding mark, which becomes part of its first line.",
                "文件以编码标记（BOM）开头，它成了第一行的一部分。"},
               {"Save the file without it: plain ASCII or UTF-8 without BOM.",
                "请保存为不带BOM的ASCII或UTF-8。"});
    }
    Split(text);
    DropFirst();
    for (const Line& line : lines) Look(line);
  }

  ConfSettings Settings() {
    ConfSettings settings;
    settings.canLog = Value("canLog", "false") == "true";
    settings.vid = Number("vid", settings.vid, 0xFFFF);
    settings.pid = Number("pid", settings.pid, 0xFFFF);
    settings.comnum = Number("comnum", settings.comnum, 999);
    settings.comport = Number("comport", settings.comport, 0xFFFFFFFF);
    settings.comname = Value("comname", "");
    settings.serialNamed = values.contains("comnum") || values.contains("comname");
    return settings;
  }

 private:
  void Complain(Level level, const char* name, std::string detail, Text cause, Text cure) {
    findings.push_back({level, name, kWhat, std::move(detail), cause, cure});
  }

  void Split(std::string_view text) {
    for (int number = 1; !text.empty(); ++number) {
      const std::size_t length = std::min(text.find('\n'), text.size());
      std::string line(text.substr(0, length));
      text.remove_prefix(std::min(length + 1, text.size()));
      if (line.ends_with('\r')) line.pop_back();
      if (line.size() + 1 > kLongestLine) {
        Complain(Level::warning, "conf.long-line", std::to_string(number),
                 {"A line of more than 1023 bytes counts as several.",
                  "超过1023字节的一行会被当作多行。"},
                 {"Shorten the line.", "请缩短该行。"});
        line.resize(kLongestLine);
      }
      if (line.empty()) continue;
      if (line.front() == '#' || line.front() == ';') {
        commentFirst = commentFirst || lines.empty();
      } else {
        lines.push_back({number, line});
      }
    }
  }

  void DropFirst() {
    if (lines.size() < 2 || commentFirst) return;
    const Line first = lines.front();
    lines.erase(lines.begin());
    const std::string key = Trimmed(std::string_view(first.text).substr(0, first.text.find(':')));
    const bool setting = IsKey(key);
    Complain(setting ? Level::fault : Level::warning, "conf.first-line", Place(first),
             {"The first line is passed over, because no comment stands before it.",
              "第一行被跳过，因为它前面没有注释行。"},
             {"Begin the file with a line such as \"# settings of the reader\".",
              "请让文件以注释行开头，例如“# settings of the reader”。"});
  }

  void Look(const Line& line) {
    const std::size_t separator = line.text.find(kSeparator);
    const std::size_t colon = line.text.find(':');
    const std::string shown = Place(line);
    const std::string key = line.text.substr(0, std::min(separator, colon));
    if (separator == std::string::npos) {
      Complain(IsKey(Trimmed(key)) ? Level::fault : Level::warning, "conf.separator", shown,
               {"Key and value are not parted by a colon and a blank, so the line does nothing.",
                "键和值之间不是“冒号加一个空格”，该行不起作用。"},
               {"Write \"key: value\", without tabs.", "请写成“key: value”，不要用制表符。"});
      return;
    }
    const std::string value = line.text.substr(separator + kSeparator.size());
    if (!IsKey(key)) {
      Complain(Level::warning, IsKey(Trimmed(key)) ? "conf.blanks" : "conf.unknown-key", shown,
               {"There is no such key; small and capital letters and blanks count.",
                "没有这个键；大小写和空白都有区别。"},
               {"The keys are canLog, canPrint, vid, pid, comnum, comport and comname.",
                "可用的键：canLog、canPrint、vid、pid、comnum、comport、comname。"});
      return;
    }
    if (values.contains(key)) {
      Complain(Level::warning, "conf.repeated-key", shown,
               {"The key stands before already, and the first value counts.",
                "该键前面已出现过，以第一个值为准。"},
               {"Remove one of the lines.", "请删除其中一行。"});
      return;
    }
    values[key] = value;
    if (value != Trimmed(value)) {
      Complain(Level::warning, "conf.blanks", shown,
               {"Blanks or tabs around the value are part of it.",
                "值前后的空格或制表符会成为值的一部分。"},
               {"Remove them.", "请删除这些空白。"});
    }
    if (IsSwitch(key) && value != "true" && value != "false") {
      Complain(Level::warning, "conf.switch", shown,
               {"Only \"true\" and \"false\", in small letters, are understood here.",
                "此处只识别小写的“true”和“false”。"},
               {"Write true or false.", "请写true或false。"});
    }
    if (!IsSwitch(key) && key != "comname") LookAtNumber(key, value, shown);
  }

  void LookAtNumber(const std::string& key, const std::string& value, const std::string& shown) {
    char* end = nullptr;
    const long long number = std::strtoll(value.c_str(), &end, 10);
    const bool whole = !value.empty() && *end == '\0';
    if (number == 0) {
      Complain(key == "vid" || key == "pid" ? Level::fault : Level::warning, "conf.zero", shown,
               {"The value counts as 0: numbers are decimal, not hexadecimal, without quotes. With "
                "vid or pid 0 no reader is found.",
                "该值被当作0：数字须为十进制，不能用十六进制或引号。vid或pid为0时找不到读卡器。"},
               {"Write a decimal number; C216 is 49686, 0102 is 258.",
                "请写十进制数；C216为49686，0102为258。"});
    } else if (!whole) {
      Complain(Level::warning, "conf.number", shown,
               {"Only the digits at the beginning count.", "只有开头的数字有效。"},
               {"Write a decimal number and nothing else.", "请只写一个十进制数。"});
    } else if (number < 0 || ((key == "vid" || key == "pid") && number > 0xFFFF) ||
               (key == "comnum" && number > 999)) {
      Complain(Level::fault, "conf.range", shown, {"The number is out of range.", "数值超出范围。"},
               {"USB ids are at most 65535, port numbers at most 999.",
                "USB标识不超过65535，串口号不超过999。"});
    }
  }

  std::string Value(const std::string& key, const std::string& byDefault) const {
    const auto found = values.find(key);
    return found == values.end() ? byDefault : found->second;
  }
  std::uint32_t Number(const std::string& key, std::uint32_t byDefault, std::uint32_t mask) const {
    const auto found = values.find(key);
    if (found == values.end()) return byDefault;
    const auto number =
        static_cast<std::uint32_t>(std::strtoll(found->second.c_str(), nullptr, 10));
    return mask == 0xFFFF ? number & mask : number;
  }

  Findings& findings;
  std::vector<Line> lines;
  bool commentFirst = false;
  std::map<std::string, std::string> values;
};

}  // namespace

ConfSettings CheckConf(std::string_view text, Findings& findings) {
  return Check(text, findings).Settings();
}

}  // namespace readcard::doctor
