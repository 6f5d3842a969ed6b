#include <algorithm>
#include <string>
#include <string_view>

#include "trace/log_lines.h"
#include "trace/step_kinds.h"
#include "trace/trace_output.h"

namespace readcard::trace {
namespace {

constexpr int kWidth = 1120;
constexpr int kChartLeft = 290;
constexpr int kChartWidth = 650;
constexpr int kRowHeight = 22;
constexpr int kLineHeight = 20;
constexpr int kMargin = 20;
constexpr std::size_t kTextColumns = 150;  // of a line across the picture
constexpr int kFewestTicks = 5;

constexpr struct {
  Track track;
  const char* colour;
  Text name;
} kTracks[] = {{Track::library, "#777777", {"library", "动态库"}},
               {Track::reader, "#2b7bba", {"reader", "读卡器"}},
               {Track::service, "#d9822b", {"service", "解码服务"}},
               {Track::wait, "#d5d5d5", {"wait", "等待"}}};
constexpr char kFailed[] = "#c62828";
constexpr Text kDerived = {"~ taken from the lines of the log around the step",
                           "~ 由相邻日志行推得"};
constexpr Text kSizes = {" sent, ", " 发送，"};
constexpr Text kReceived = {" received", " 接收"};

// Characters that XML has no place for are left out.
std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        if (static_cast<unsigned char>(c) >= ' ' || c == '\n') escaped += c;
    }
  }
  return escaped;
}

bool BeginsCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }

// Lines of so many columns, of which a Chinese character takes two; broken at a blank where there
// is one.
std::vector<std::string> Wrapped(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t begin = 0, blank = 0, columns = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!BeginsCharacter(text[i])) continue;
    if (columns >= kTextColumns) {
      const std::size_t end = blank > begin ? blank : i;
      lines.push_back(text.substr(begin, end - begin));
      begin = end + (blank > begin ? 1 : 0);
      columns = i - begin;
    }
    if (text[i] == ' ') blank = i;
    columns += static_cast<unsigned char>(text[i]) < 0x80 ? 1 : 2;
  }
  lines.push_back(text.substr(begin));
  return lines;
}

// 1, 2 or 5 times a power of ten.
std::int64_t TickStep(std::int64_t range) {
  std::int64_t step = 1;
  for (int round = 0; range / step > 2 * kFewestTicks; ++round) {
    step = round % 3 == 1 ? step / 2 * 5 : step * 2;
  }
  return step;
}

class Drawing {
 public:
  Drawing(const Trace& drawn, Language inLanguage, bool data)
      : trace(drawn), language(inLanguage), withData(data) {}

  std::string Draw() {
    int y = kMargin;
    const auto write = [this, &y](const std::string& text, const char* style) {
      for (const std::string& line : Wrapped(text)) {
        WriteText(kMargin, y += kLineHeight, line, style);
      }
    };
    if (withData) write(kWithDataWarning.In(language), "font-weight=\"bold\" fill=\"#c62828\"");
    write(Headline(trace, language), "font-weight=\"bold\" font-size=\"16\"");
    write(MomentText(trace.begin), "fill=\"#777777\"");
    if (trace.failure) {
      if (trace.failedStep) write(FailedStepText(trace, language), "fill=\"#c62828\"");
      if (!trace.failure->cause.empty()) write(kCauseLabel.In(language) + trace.failure->cause, "");
      write(kCureLabel.In(language) + trace.failure->hint, "");
    }
    if (trace.longest) write(LongestText(trace, language), "");
    DrawLegend(y += kLineHeight + 6);
    y += kLineHeight + 10;
    DrawAxis(y);
    for (std::size_t i = 0; i < trace.steps.size(); ++i) {
      DrawStep(i, y + 6 + static_cast<int>(i) * kRowHeight);
    }
    const int height = y + 6 + static_cast<int>(trace.steps.size()) * kRowHeight + kMargin;
    const std::string size =
        "width=\"" + std::to_string(kWidth) + "\" height=\"" + std::to_string(height) + "\"";
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg "
           "xmlns=\"http://www.w3.org/2000/svg\" " +
           size + " viewBox=\"0 0 " + std::to_string(kWidth) + " " + std::to_string(height) +
           "\" font-family=\"'Noto Sans CJK SC','Microsoft YaHei','PingFang SC',sans-serif\" "
           "font-size=\"13\">\n<rect " +
           size + " fill=\"#ffffff\"/>\n" + content + "</svg>\n";
  }

 private:
  std::int64_t Range() const {
    return std::max<std::int64_t>((trace.readEnd - trace.begin).count(), 1);
  }
  int X(milliseconds sinceBegin) const {
    return kChartLeft + static_cast<int>(sinceBegin.count() * kChartWidth / Range());
  }

  void WriteText(int x, int y, const std::string& text, const std::string& style) {
    content += "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" " + style +
               ">" + Escaped(text) + "</text>\n";
  }
  void Rectangle(int x, int y, int width, int height, const std::string& style,
                 const std::string& title = {}) {
    content += "<rect x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" width=\"" +
               std::to_string(width) + "\" height=\"" + std::to_string(height) + "\" " + style;
    content += title.empty() ? "/>\n" : "><title>" + Escaped(title) + "</title></rect>\n";
  }

  void DrawLegend(int y) {
    int x = kMargin;
    for (const auto& entry : kTracks) {
      Rectangle(x, y - 11, 14, 14, "fill=\"" + std::string(entry.colour) + "\"");
      WriteText(x + 20, y, entry.name.In(language), "");
      x += 110;
    }
    WriteText(x, y, kDerived.In(language), "font-size=\"11\" fill=\"#777777\"");
  }

  void DrawAxis(int y) {
    const int bottom = y + 6 + static_cast<int>(trace.steps.size()) * kRowHeight;
    const std::int64_t step = TickStep(Range());
    for (std::int64_t tick = 0; tick <= Range(); tick += step) {
      const std::string x = std::to_string(X(milliseconds(tick)));
      content += "<line x1=\"" + x + "\" y1=\"" + std::to_string(y) + "\" x2=\"" + x + "\" y2=\"" +
                 std::to_string(bottom) + "\" stroke=\"#e2e2e2\"/>\n";
      WriteText(X(milliseconds(tick)), y - 4, std::to_string(tick) + " ms",
                "text-anchor=\"middle\" font-size=\"11\" fill=\"#777777\"");
    }
  }

  void DrawStep(std::size_t index, int y) {
    const Step& step = trace.steps[index];
    const bool failed = trace.failedStep == index;
    WriteText(kMargin, y + 14, step.kind->name.In(language),
              failed ? "fill=\"#c62828\" font-weight=\"bold\"" : "");
    const int x = X(step.begin - trace.begin);
    const int width = std::max(X(step.end - trace.begin) - x, 2);
    std::string style =
        "fill=\"" + std::string(kTracks[static_cast<int>(step.kind->track)].colour) + "\"";
    if (failed) style += std::string(" stroke=\"") + kFailed + "\" stroke-width=\"2\"";
    std::string title;
    if (withData) {
      for (const std::string& line : step.lines) title += line + "\n";
    }
    Rectangle(x, y + 3, width, kRowHeight - 7, style, title);
    std::string label = (step.derived ? "~" : "") + std::to_string(step.Duration().count()) + " ms";
    if (step.sent || step.received) {
      label += ", ";
      if (step.sent) label += std::to_string(*step.sent) + " B" + kSizes.In(language);
      label += std::to_string(step.received.value_or(0)) + " B" + kReceived.In(language);
    }
    // Behind the bar, or before it where there is no room.
    const bool room = x + width < kWidth - 200;
    WriteText(room ? x + width + 6 : x - 6, y + 15, label,
              std::string("font-size=\"11\"") + (room ? "" : " text-anchor=\"end\""));
  }

  const Trace& trace;
  const Language language;
  const bool withData;
  std::string content;
};

}  // namespace

std::string TraceSvg(const Trace& trace, Language language, bool withData) {
  return Drawing(trace, language, withData).Draw();
}

}  // namespace readcard::trace
