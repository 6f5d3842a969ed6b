#include "trace/trace_command.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "configuration.h"
#include "failure.h"
#include "host_library.h"
#include "interruption.h"
#include "platform/clock.h"
#include "text_encoding.h"
#include "trace/log_folder.h"
#include "trace/read_steps.h"
#include "trace/step_kinds.h"
#include "trace/trace_output.h"

namespace readcard {
namespace trace {
namespace {

namespace fs = std::filesystem;

// What the library writes whenever readCardStop is called with logging on.
constexpr char kStopLine[] = "Read Done Stop";
constexpr char kParsed[] = "|ParseIDContent ";  // and how it ended
// The logs are written by threads that look every 50 ms.
constexpr milliseconds kLook(20);
constexpr milliseconds kQuiet(150);
constexpr milliseconds kLongestWait(3000);

Moment Now() { return MomentOf(idcardreader::platform::SystemClock().Now()); }

// The library's logging while this lives: switched on, unless it was, and the files removed again.
class Logging {
 public:
  Logging(const HostLibrary& ofHost, const fs::path& place, Console& shared)
      : library(ofHost),
        activity(place / "logdata"),
        errors(place / "errordata"),
        console(shared),
        created(Now()) {}

  ~Logging() {
    if (!closed) Close();
  }
  Logging(const Logging&) = delete;
  Logging& operator=(const Logging&) = delete;

  // With the engine created. A log that is on gets its file by its first line at the latest.
  void SwitchOn() {
    library.readCardStop();
    wasOn = !activity.Find("Reader", created, Now()).empty();
    if (!wasOn) {
      library.readCardLog(1);
      switchedOn = Now();
      library.readCardStop();
    }
    readerFile = TheOne(activity.Find("Reader", wasOn ? created : switchedOn, Now()));
  }
  bool WasOn() const { return wasOn; }

  // The lines of a read between these moments; waits until they are written, not for ever.
  Logs LinesOf(Moment begin, Moment end, bool succeeded) {
    library.readCardStop();  // whose line comes behind those of the caller
    const Moment start = Now();
    std::string reader, server;
    for (Moment grown = start; readerFile && Now() - start < kLongestWait;) {
      std::this_thread::sleep_for(kLook);
      const std::string readerNow = TextOf(readerFile);
      if (!serverFile && HoldsStop(readerNow, end)) FindServerFile(readerNow, begin, end);
      const std::string serverNow = TextOf(serverFile);
      if (readerNow != reader || serverNow != server) grown = Now();
      reader = readerNow;
      server = serverNow;
      // The read thread may write after the caller has gone on.
      const bool complete =
          HoldsStop(reader, end) && (!succeeded || server.find(kParsed) != std::string::npos);
      if (complete && Now() - grown >= kQuiet) break;
    }
    if (!serverFile && !HoldsStop(reader, end)) FindServerFile(reader, begin, end);
    Logs logs{LogLines(reader), LogLines(server), {}};
    const std::vector<fs::path> errorFiles = errors.Find("Error", created, end);
    if (errorFiles.size() == 1) logs.error = LogLines(FileText(errorFiles.front()));
    for (std::vector<LogLine>* log : {&logs.reader, &logs.server, &logs.error}) {
      std::erase_if(*log, [begin](const LogLine& line) { return line.at < begin; });
    }
    return logs;
  }

  // Ends the engine, which holds the files open.
  void Close() {
    closed = true;
    library.CloseComm();
    if (wasOn) return;
    bool removed = true;
    for (const auto& file : {readerFile, serverFile}) {
      removed = (!file || activity.Remove(*file)) && removed;
    }
    if (!removed || doubtful) {
      console.Complain(
          "A log file of this read, with the card's data, is left in the folder logdata beside the "
          "library" +
          std::string(doubtful ? ": another process made one in the same moment.\n"
                               : ": it could not be removed.\n"));
    }
  }

 private:
  static bool HoldsStop(const std::string& log, Moment end) {
    const std::vector<LogLine> lines = LogLines(log);
    return std::any_of(lines.begin(), lines.end(), [end](const LogLine& line) {
      return line.at >= end && line.message == kStopLine;
    });
  }

  // It is opened between the reader's answers and the first exchange; so another process's is
  // hardly ever taken for it.
  void FindServerFile(const std::string& reader, Moment begin, Moment end) {
    bool identified = false;  // without which the service is not called
    for (const LogLine& line : LogLines(reader)) {
      if (line.message == "HID readVersion") {
        identified = true;
        begin = line.at;
      }
      if (line.message.starts_with("Read Thread ")) end = std::min(end, line.at);
    }
    if (identified) serverFile = TheOne(activity.Find("Server", begin, end));
  }

  std::optional<fs::path> TheOne(const std::vector<fs::path>& files) {
    doubtful = doubtful || files.size() > 1;
    return files.size() == 1 ? std::optional(files.front()) : std::nullopt;
  }

  static std::string TextOf(const std::optional<fs::path>& file) {
    return file ? FileText(*file) : std::string();
  }

  const HostLibrary& library;
  const LogFolder activity;
  const LogFolder errors;
  Console& console;
  const Moment created;
  Moment switchedOn{0};
  bool wasOn = false;
  bool closed = false;
  bool doubtful = false;  // whose a log is
  std::optional<fs::path> readerFile;
  std::optional<fs::path> serverFile;
};

Step Measured(const char* key, Moment begin) {
  Step step;
  step.kind = &KindOf(key);
  step.begin = begin;
  step.end = Now();
  return step;
}

Failure FailureOf(const HostLibrary& library, Language language) {
  readcard::Failure fetched = FetchFailure(library, language);
  Failure failure{
      fetched.code, {}, std::move(fetched.cause), std::move(fetched.hint), std::move(fetched.text)};
  if (failure.code) failure.codeText = GbkToUtf8(library.readCardErrorInfo(*failure.code));
  return failure;
}

Trace TraceRead(const HostLibrary& library, Trace trace, const Options& options, Console& console) {
  constexpr int kSerialReader = 1;
  Logging logging(library, library.File().parent_path(), console);
  const Interruption interruption([&library] { library.readCardStop(); });
  const Moment startUp = Now();
  library.readCardGetSdkVersion();  // creates the engine
  if (!options.serialPort.empty()) library.readCardSetDeviceType(kSerialReader);
  trace.steps.push_back(Measured("start-up", startUp));
  logging.SwitchOn();
  trace.loggingWasOn = logging.WasOn();

  trace.readBegin = Now();
  const bool read = !Interruption::Happened() && library.readCardStart(0) != 0;
  trace.readEnd = Now();
  if (!read) trace.failure = FailureOf(library, options.language);
  trace.stopped = !read && Interruption::Happened();

  const Logs logs = logging.LinesOf(trace.readBegin, trace.readEnd, read);
  logging.Close();
  trace.logFound = !logs.reader.empty();
  for (Step& step : ReadSteps(logs, trace.readEnd)) trace.steps.push_back(std::move(step));
  for (const LogLine& line : logs.error) trace.errorLines.push_back(GbkToUtf8(line.message));
  Conclude(trace);
  return trace;
}

bool WriteFile(const std::string& name, const std::string& content) {
  std::ofstream file(fs::path(std::u8string(name.begin(), name.end())), std::ios::binary);
  file << content;
  file.close();
  return !file.fail();
}

}  // namespace
}  // namespace trace

int RunTraceCommand(const Options& options, Console& console) {
  std::string complaint;
  trace::Trace trace;
  trace.begin = trace::Now();
  std::unique_ptr<HostLibrary> library;
  if (options.serialPort.empty() || ConfigureSerialPort(options.serialPort, complaint)) {
    library = HostLibrary::Load(options.library, complaint);
  }
  if (!library) {
    console.Complain(complaint + "\n");
    return kUsage;
  }
  trace.steps.push_back(trace::Measured("load", trace.begin));
  trace = trace::TraceRead(*library, std::move(trace), options, console);
  console.Print(options.json ? trace::TraceJson(trace, options.language, options.withData)
                             : trace::TraceText(trace, options.language, options.withData));
  if (!options.svgFile.empty() &&
      !trace::WriteFile(options.svgFile,
                        trace::TraceSvg(trace, options.language, options.withData))) {
    console.Complain(options.svgFile + " cannot be written.\n");
    return kReadFailed;
  }
  return trace.failure ? kReadFailed : kAllRead;
}

}  // namespace readcard
