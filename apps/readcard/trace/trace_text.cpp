#include <string>

#include "trace/log_lines.h"
#include "trace/trace_output.h"

namespace readcard::trace {
namespace {

constexpr Text kColumns = {"   at ms   took ms    sent  received  step",
                           "    开始      耗时    发送      接收  步骤（毫秒、字节）"};
constexpr Text kUnfinished = {"  <- not finished", "  <- 未完成"};
constexpr Text kLegend = {
    "Times count from the loading of the library, sizes are bytes. Loading, start-up and the "
    "whole\n"
    "read are measured around the calls, the other steps from line to line of the logs, whose "
    "clock\n"
    "counts milliseconds; ~ marks a step whose beginning or end has no line of its own and is "
    "taken\n"
    "from the lines around it. (A bracket) is a wait, in which another step is at work.\n",
    "时间从加载动态库起算，大小以字节计。加载、启动和整个读卡按调用测量，其余步骤按日志各行测量，日"
    "志\n"
    "时钟精度为毫秒；~ "
    "表示该步骤的开始或结束没有自己的日志行，由相邻各行推得。（括号）为等待，期间由\n"
    "其他步骤工作。\n"};
constexpr Text kNoLog = {
    "No log was found, so only the calls were measured: check that the folder of the library can "
    "be\n"
    "written.\n",
    "未找到日志，只测量了调用本身：请检查动态库所在文件夹是否可写。\n"};
constexpr Text kLogsKept = {"Logging was on before; the log files were left.\n",
                            "日志此前已开启，日志文件予以保留。\n"};
constexpr Text kErrorLog = {"Error log:\n", "错误日志：\n"};

std::string Milliseconds(milliseconds time) { return std::to_string(time.count()) + " ms"; }

std::string Padded(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string SizeColumn(const std::optional<std::size_t>& bytes, std::size_t width) {
  return Padded(bytes ? std::to_string(*bytes) : "", width);
}

std::string StepLine(const Trace& trace, const Step& step, Language language) {
  const std::string name = step.kind->name.In(language);
  const bool wait = step.kind->track == Track::wait;
  return Padded(std::to_string((step.begin - trace.begin).count()), 8) +
         Padded((step.derived ? "~" : "") + std::to_string(step.Duration().count()), 10) +
         SizeColumn(step.sent, 8) + SizeColumn(step.received, 10) + "  " +
         (wait ? "(" + name + ")" : name) + (step.finished ? "" : kUnfinished.In(language)) + "\n";
}

}  // namespace

const Text kWithDataWarning = {"With the card's data, keys and tokens: not for other people.",
                               "含卡片数据、密钥和令牌：请勿转发他人。"};
const Text kCauseLabel = {"Cause: ", "原因："};
const Text kCureLabel = {"What to do: ", "处理："};

std::string Headline(const Trace& trace, Language language) {
  const bool chinese = language == Language::chinese;
  const std::string duration = Milliseconds(trace.readEnd - trace.readBegin);
  if (trace.stopped) return (chinese ? "读卡被中断，已用 " : "Interrupted after ") + duration;
  if (!trace.failure) return (chinese ? "读卡成功，用时 " : "Read in ") + duration;
  std::string text = (chinese ? "读卡失败，用时 " : "Not read, in ") + duration;
  if (trace.failure->code) {
    text += (chinese ? "，代码 " : ", code ") + std::to_string(*trace.failure->code);
  }
  if (!trace.failure->codeText.empty()) {
    text += (chinese ? "：" : ": ") + trace.failure->codeText;
  }
  return text;
}

std::string LongestText(const Trace& trace, Language language) {
  if (!trace.longest) return {};
  const std::string name = trace.steps[trace.longest->step].kind->name.In(language);
  const std::string alone = Milliseconds(trace.longest->alone);
  const std::string idle = Milliseconds(trace.idle);
  return language == Language::chinese
             ? "等待最久：" + name + "，" + alone + " 内没有其他步骤在工作；各步骤之间 " + idle
             : "Waited longest for: " + name + ", " + alone +
                   " with nothing else at work; between the steps " + idle;
}

std::string FailedStepText(const Trace& trace, Language language) {
  if (!trace.failedStep) return {};
  return (language == Language::chinese ? "失败步骤：" : "Failed at: ") +
         std::string(trace.steps[*trace.failedStep].kind->name.In(language));
}

std::string TraceText(const Trace& trace, Language language, bool withData) {
  std::string text;
  if (withData) text += std::string(kWithDataWarning.In(language)) + "\n";
  text += Headline(trace, language) + "  (" + MomentText(trace.begin) + ")\n";
  if (trace.failure) {
    if (trace.failedStep) text += FailedStepText(trace, language) + "\n";
    if (!trace.failure->cause.empty())
      text += kCauseLabel.In(language) + trace.failure->cause + "\n";
    text += kCureLabel.In(language) + trace.failure->hint + "\n";
    if (withData && !trace.failure->detail.empty()) text += trace.failure->detail + "\n";
  }
  if (trace.longest) text += LongestText(trace, language) + "\n";
  text += std::string("\n") + kColumns.In(language) + "\n";
  for (const Step& step : trace.steps) {
    text += StepLine(trace, step, language);
    if (!withData) continue;
    for (const std::string& line : step.lines) text += "            | " + line + "\n";
  }
  if (withData && !trace.errorLines.empty()) {
    text += kErrorLog.In(language);
    for (const std::string& line : trace.errorLines) text += "            | " + line + "\n";
  }
  text += std::string("\n") + kLegend.In(language);
  if (!trace.logFound) text += kNoLog.In(language);
  if (trace.loggingWasOn) text += kLogsKept.In(language);
  return text;
}

}  // namespace readcard::trace
