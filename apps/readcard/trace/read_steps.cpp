#include "trace/read_steps.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

#include "text_encoding.h"
#include "trace/step_kinds.h"

namespace readcard::trace {
namespace {

// The read thread rests so long between two of its actions; what it logs of a reader command comes
// behind the rest.
constexpr milliseconds kRest(5);

struct FileKind {
  const char* key;
  const char* line;   // behind the file
  std::size_t bytes;  // of the file; the line may show fewer
};
constexpr FileKind kFiles[] = {{"file-11", "TRANST_ID_OUTPUTKEY", 214},
                               {"file-12", "TRANST_ID_SECTOR12", 256},
                               {"file-13", "TRANST_ID_SECTOR13", 1024},
                               {"file-21", "TRANST_ID_SECTOR21", 1024}};

struct ExchangeKind {
  const char* key;
  const char* name;       // in the log
  std::size_t lineFeeds;  // that the message ends with; the log leaves them out
};
constexpr ExchangeKind kExchanges[] = {{"login", "Login", 1},
                                       {"heartbeat", "InitDecodeChannel", 0},
                                       {"send-dn", "UploadDN", 1},
                                       {"send-output-key", "UploadOutputKey", 1},
                                       {"send-sector-11", "UploadSector11Data", 1},
                                       {"send-sector-12", "UploadSector12Data", 1},
                                       {"send-sector-13", "UploadSector13Data", 1},
                                       {"send-sector-21", "UploadSector21Data", 1}};

// When a line that begins so came; nothing when none did.
std::optional<Moment> TimeOf(const std::vector<LogLine>& lines, std::string_view beginning,
                             Moment from = Moment(0)) {
  for (const LogLine& line : lines) {
    if (line.at >= from && line.message.starts_with(beginning)) return line.at;
  }
  return std::nullopt;
}

// Goes through the lines of one log, with the step that is under way.
class LogReader {
 public:
  LogReader(const Logs& ofRead, Moment end) : logs(ofRead), readEnd(end) {}
  virtual ~LogReader() = default;
  LogReader(const LogReader&) = delete;
  LogReader& operator=(const LogReader&) = delete;

  std::vector<Step> Read(const std::vector<LogLine>& lines) {
    for (const LogLine& each : lines) {
      line = &each;
      Take(each.message);
      before = each.at;
    }
    Break(readEnd);
    Finish();
    return std::move(steps);
  }

 protected:
  virtual void Take(std::string_view message) = 0;
  virtual void Finish() {}

  bool Under(std::string_view key) const { return underWay && steps.back().kind->key == key; }
  void Begin(std::string_view key) { Begin(key, line->at, false); }
  void Begin(std::string_view key, Moment at, bool derived) {
    if (underWay) Break(at);
    steps.push_back({&KindOf(key), at, at, derived, false, {}, {}, {}});
    underWay = true;
    trouble.reset();
    Note();
  }
  // With its own line.
  void End() {
    if (underWay) Note();
    EndAt(line->at, false);
  }
  void EndAt(Moment at, bool derived) {
    if (!underWay) return;
    Step& step = steps.back();
    step.end = std::max(step.begin, at);
    step.derived = step.derived || derived;
    step.finished = true;
    underWay = false;
  }
  // Ended by a failure, which was seen at this moment at the latest.
  void Break(Moment seen) {
    if (!underWay) return;
    Step& step = steps.back();
    std::optional<Moment> end = trouble;
    for (const LogLine& error : logs.error) {
      if (!end && error.at >= step.begin && error.at <= seen) end = error.at;
    }
    EndAt(end.value_or(seen), true);
    step.finished = false;
  }
  // A line that says nothing of its own.
  void Note() {
    if (!steps.empty()) steps.back().lines.push_back(GbkToUtf8(line->message));
  }

  const Logs& logs;
  const Moment readEnd;
  const LogLine* line = nullptr;
  Moment before{0};  // of the line before
  std::vector<Step> steps;
  bool underWay = false;
  std::optional<Moment> trouble;  // when the log told of it
};

class ReaderLog : public LogReader {
 public:
  using LogReader::LogReader;

 private:
  void Take(std::string_view message) override {
    if (message == "Read Init Sucess") return Begin("open");
    if (message == "HID readAuthorizeCode") return EndAndBegin("authorize");
    if (message == "HID readVersion") return EndAndBegin("version");
    if (message == "HID writeAndReadData") return TakeCommand();
    if (message == "HID writeAndReadData1") return TakeFileBegin();
    if (message == "Read Thread LOGIN" || message == "Read Thread HEARTBEAT") return TakeDnEnd();
    if (message.starts_with("Read Thread DN")) return Begin("await-input-key");
    if (message == "TRANST_ID_DN_GET") return EndAndBegin("input-key");
    if (message == "TRANST_ID_INPUTKEY_GET") return EndAndBegin("output-key");
    if (message.starts_with("TRANST_ID_INPUTKEY")) {
      EndAt(line->at - kRest, true);
      return Begin("await-output-key");
    }
    if (message.starts_with("TRANST_SERVERO_DONE")) return Begin("await-result");
    if (message == "Read Done") return Under("await-result") ? End() : Note();
    if (message.starts_with("Read Done") || message.starts_with("read_sfz   ")) {
      if (message != "read_sfz   BEGIN") TakeEnd();
      return;
    }
    for (const FileKind& file : kFiles) {
      if (message.starts_with(file.line)) return TakeFileEnd(file);
    }
    Note();
    // The reader's own words of a failure.
    if (underWay && steps.back().kind->track == Track::reader && !message.starts_with("Com ")) {
      trouble = line->at;
    }
  }

  void EndAndBegin(std::string_view key) {
    EndAt(line->at, false);
    Begin(key);
  }

  void TakeCommand() {
    if (Under("version") && steps.back().lines.size() > 1) {
      EndVersion();
      return Begin("dn");
    }
    if (Under("dn") || !underWay) return Begin("dn");
    Note();
  }

  void EndVersion() { EndAt(TimeOf(logs.server, "Server Init Begin").value_or(line->at), true); }

  // A serial reader's commands have no lines of their own: behind the connection comes the DN.
  void LookForDn() {
    if (!Under("version") || !TimeOf(logs.server, "Server Init Begin")) return;
    EndVersion();
    if (const auto connected = TimeOf(logs.server, "Server Init End")) {
      Begin("dn", *connected, true);
    }
  }

  void TakeDnEnd() {
    LookForDn();
    Moment end = line->at;
    for (const char* posted : {"Login ", "InitDecodeChannel "}) {
      end = std::min(end, TimeOf(logs.server, posted).value_or(end));
    }
    EndAt(end, true);
    Note();
  }

  void TakeEnd() {
    LookForDn();
    Break(line->at);
  }

  void TakeFileBegin() {
    EndAt(line->at - kRest, true);  // the output key
    if (nextFile < std::size(kFiles)) Begin(kFiles[nextFile].key);
  }

  void TakeFileEnd(const FileKind& file) {
    if (Under("output-key")) {  // of a serial reader: where the file begins is not told
      steps.back().kind = &KindOf("output-key-and-file-11");
    } else if (!Under(file.key)) {
      Begin(file.key, std::min(before + kRest, line->at), true);
    }
    steps.back().received = file.bytes;
    End();
    ++nextFile;
  }

  std::size_t nextFile = 0;
};

class ServerLog : public LogReader {
 public:
  using LogReader::LogReader;

 private:
  void Take(std::string_view message) override {
    if (message == "InitSocket") {
      attempted = false;
      return Begin(++connections == 1 ? "connect-1" : "connect-2");
    }
    if (message.starts_with("SER ")) {
      attempted = true;
      End();
      steps.back().finished = message.find(" sucess") != std::string_view::npos;
      return;
    }
    for (const ExchangeKind& exchange : kExchanges) {
      const std::string name = std::string(exchange.name) + " ";
      if (message.starts_with(name)) return TakeExchange(exchange, message.substr(name.size()));
    }
    if (message.starts_with("New idCard Read Ori")) return TakeContent(message.size());
    if (message == "ParseIDContent") return Begin("parse");
    if (message.starts_with("ParseIDContent ")) return End();
    Note();
  }

  void TakeExchange(const ExchangeKind& exchange, std::string_view what) {
    constexpr std::size_t kWord = 4;  // "Send", "Read"
    if (!Under(exchange.key)) {
      Begin(exchange.key);
    } else if (what.starts_with("Send{")) {
      Note();
      steps.back().sent = what.size() - kWord + exchange.lineFeeds;
    } else if (what.starts_with("Read")) {
      steps.back().received = what.size() - kWord;
      answered = line->at;
      End();
    } else {
      Note();
    }
  }

  // The whole answer stands there once more, with what came of it later.
  void TakeContent(std::size_t messageSize) {
    const std::size_t label = GbkLabelSize();
    const std::size_t whole = messageSize - std::min(label, messageSize);
    const std::size_t known = steps.empty() ? 0 : steps.back().received.value_or(0);
    Begin("content", answered, false);
    // A short answer before it was an acknowledgement, which is no part of the content.
    constexpr std::size_t kShortestContent = 201;
    const std::size_t part = known < kShortestContent ? 0 : known;
    if (whole > part) steps.back().received = whole - part;
    EndAt(line->at, false);
  }

  static std::size_t GbkLabelSize() {
    return std::string_view("New idCard Read Ori").size() + 2;  // and a wide colon
  }

  // A read that ended here waited for more; and with one endpoint told there is no second attempt.
  void Finish() override {
    if (connections == 2 && !attempted) steps.pop_back();
    if (!steps.empty() && steps.back().kind->key == std::string_view("send-sector-21") &&
        steps.back().finished) {
      steps.push_back({&KindOf("content"), answered, answered, true, false, {}, {}, {}});
      underWay = true;
      Break(readEnd);
    }
  }

  int connections = 0;
  bool attempted = false;  // the last of them
  Moment answered{0};
};

bool AtWork(const Step& step) {
  return step.kind->track == Track::reader || step.kind->track == Track::service;
}

// The service may be at work when the reader fails, and is broken off.
bool FromReader(int code) { return (code >= 30 && code <= 39) || code == 47; }

std::optional<std::size_t> FailedStep(const Trace& trace) {
  const std::string_view place =
      trace.failure->code ? PlaceOfCode(*trace.failure->code) : std::string_view();
  const bool ofReader = trace.failure->code && FromReader(*trace.failure->code);
  std::optional<std::size_t> named, unfinished, last;
  for (std::size_t i = 0; i < trace.steps.size(); ++i) {
    const Step& step = trace.steps[i];
    if (step.kind->key == place) named = i;
    if (ofReader ? step.kind->track != Track::reader : step.kind->track == Track::wait) continue;
    last = i;
    if (!step.finished) unfinished = i;
  }
  return named ? named : unfinished ? unfinished : last;
}

}  // namespace

std::vector<Step> ReadSteps(const Logs& logs, Moment readEnd) {
  std::vector<Step> steps = ReaderLog(logs, readEnd).Read(logs.reader);
  std::vector<Step> ofService = ServerLog(logs, readEnd).Read(logs.server);
  std::move(ofService.begin(), ofService.end(), std::back_inserter(steps));
  for (Step& step : steps) step.end = std::max(step.begin, std::min(step.end, readEnd));
  return steps;
}

void Conclude(Trace& trace) {
  std::stable_sort(trace.steps.begin(), trace.steps.end(), [](const Step& a, const Step& b) {
    return std::pair(a.begin, a.kind) < std::pair(b.begin, b.kind);
  });
  if (trace.failure) trace.failedStep = FailedStep(trace);

  // Between two neighbouring moments at which something changes, the same steps are at work.
  std::vector<Moment> moments = {trace.readBegin, trace.readEnd};
  for (const Step& step : trace.steps) {
    for (const Moment moment : {step.begin, step.end}) {
      if (moment > trace.readBegin && moment < trace.readEnd) moments.push_back(moment);
    }
  }
  std::sort(moments.begin(), moments.end());
  std::map<std::size_t, milliseconds> alone;
  for (std::size_t i = 1; i < moments.size(); ++i) {
    std::vector<std::size_t> busy;
    for (std::size_t j = 0; j < trace.steps.size(); ++j) {
      const Step& step = trace.steps[j];
      if (AtWork(step) && step.begin <= moments[i - 1] && step.end >= moments[i]) busy.push_back(j);
    }
    const milliseconds length = moments[i] - moments[i - 1];
    if (busy.empty()) trace.idle += length;
    if (busy.size() == 1) alone[busy.front()] += length;
  }
  for (const auto& [step, time] : alone) {
    if (time > milliseconds(0) && (!trace.longest || time > trace.longest->alone)) {
      trace.longest = Longest{step, time};
    }
  }
}

}  // namespace readcard::trace
