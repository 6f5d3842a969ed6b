#include "desk_server/read_history.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/json_file.h"

namespace devkit {
namespace {

constexpr std::size_t kMostReads = 20;
constexpr std::size_t kMostSteps = 300;  // a read has about thirty
constexpr std::size_t kMostLogLines = 12;
constexpr std::size_t kMostProcesses = 64;
constexpr std::size_t kLongestStepName = 40;
constexpr std::int64_t kPauseBetweenReadsMs = 10'000;
// By this line the library tells that the failure it logged before is not the read's end.
constexpr std::string_view kSecondAttempt = "第二次重试DN";

// What comes behind the end of a read and still belongs to it.
bool IsTrailing(std::string_view step) {
  constexpr std::array<std::string_view, 4> kTrailing = {"close", "closed", "beep", "search-off"};
  return std::find(kTrailing.begin(), kTrailing.end(), step) != kTrailing.end();
}

std::string Name(const nlohmann::json& line, const char* member) {
  const auto found = line.find(member);
  return found != line.end() && found->is_string()
             ? found->get<std::string>().substr(0, kLongestStepName)
             : std::string();
}

std::int64_t Number(const nlohmann::json& line, const char* member) {
  const auto found = line.find(member);
  return found != line.end() && found->is_number_integer() ? found->get<std::int64_t>() : 0;
}

}  // namespace

ReadHistory::ReadHistory(std::map<std::string, int> statusCodes) : codes(std::move(statusCodes)) {}

void ReadHistory::SetDesk(std::string cardName, std::string scenarioName) {
  card = std::move(cardName);
  scenario = std::move(scenarioName);
}

std::filesystem::path ReadHistory::LibraryOf(const nlohmann::json& line) {
  const auto found = line.find("library");
  if (found == line.end() || !found->is_string()) return {};
  return PathFromText(found->get<std::string>());
}

void ReadHistory::AddJournalLine(const nlohmann::json& line) {
  const auto process = static_cast<std::uint64_t>(Number(line, "process"));
  if (const std::filesystem::path library = LibraryOf(line); !library.empty()) {
    if (folders.size() >= kMostProcesses) folders.clear();
    folders[process] = library.parent_path();
    return;
  }
  const std::string request = Name(line, "request");
  const std::string name = request.empty() ? Name(line, "event") : request;
  if (name.empty()) return;
  const bool answered = line.contains("ms");
  const std::int64_t time = Number(line, "time");
  const std::int64_t number = Number(line, "number");
  Json step = {{"time", time}, {"side", "reader"}, {"name", name}, {"number", number}};
  for (const char* member : {"ms", "bytes", "wanted", "status", "found"}) {
    const auto found = line.find(member);
    if (found != line.end() && found->is_primitive() && !found->is_string()) step[member] = *found;
  }
  if (answered) {
    for (auto read = reads.rbegin(); read != reads.rend(); ++read) {
      if (read->process != process) continue;
      for (auto begun = read->steps.rbegin(); begun != read->steps.rend(); ++begun) {
        if (begun->value("side", "") != "reader" || begun->value("number", -1) != number) continue;
        step["time"] = begun->at("time");
        *begun = std::move(step);
        read->last = std::max(read->last, time);
        ++version;
        return;
      }
    }
    return;
  }
  Read& read = ReadFor(name, time, process);
  if (!request.empty() && name != "dn" && name != "authorize" && name != "version" &&
      !name.starts_with("search")) {
    read.beyondDn = true;
  }
  AddStep(read, std::move(step));
}

void ReadHistory::AddServiceEvent(const ServiceEvent& event, std::int64_t time) {
  using Kind = ServiceEvent::Kind;
  std::string name = event.exchange.empty() ? "message" : event.exchange;
  if (event.kind == Kind::connected) name = "connected";
  if (event.kind == Kind::closed) name = "closed";
  if (event.kind == Kind::answered) {
    for (auto read = reads.rbegin(); read != reads.rend(); ++read) {
      for (auto step = read->steps.rbegin(); step != read->steps.rend(); ++step) {
        if (step->value("connection", 0) != event.connection || step->value("name", "") != name ||
            step->contains("ms")) {
          continue;
        }
        (*step)["ms"] = event.milliseconds;
        (*step)["bytes"] = event.bytes;
        if (name == "sector-21" && event.objection.empty() && event.bytes > 0 &&
            read->outcome == Outcome::running) {
          read->outcome = Outcome::content_sent;
        }
        read->last = std::max(read->last, time);
        ++version;
        return;
      }
    }
    return;
  }
  Read& read = ReadFor(name, time, 0);
  if (!event.card.empty()) read.card = event.card;
  Json step = {
      {"time", time}, {"side", "service"}, {"name", name}, {"connection", event.connection}};
  if (!event.objection.empty()) step["objection"] = event.objection;
  if (event.spoiled) step["spoiled"] = true;
  if (event.kind == Kind::arrived && name != "login" && name != "heartbeat") read.beyondDn = true;
  AddStep(read, std::move(step));
}

void ReadHistory::AddLoggedError(const std::filesystem::path& folder, const std::string& text) {
  for (auto read = reads.rbegin(); read != reads.rend(); ++read) {
    const auto known = folders.find(read->process);
    if (known == folders.end() || known->second != folder) continue;
    // A failure at the service stands before a comma and the details.
    auto code = codes.find(text);
    if (code == codes.end()) code = codes.find(text.substr(0, text.find(',')));
    if (code != codes.end()) {
      read->outcome = Outcome::failed;
      read->code = code->second;
    } else if (text == kSecondAttempt) {
      read->outcome = Outcome::running;
      read->code = -1;
    }
    if (read->log.size() < kMostLogLines) read->log.push_back(text);
    ++version;
    return;
  }
}

ReadHistory::Read& ReadHistory::ReadFor(std::string_view step, std::int64_t time,
                                        std::uint64_t process) {
  if (!reads.empty()) {
    Read& current = reads.back();
    const bool ended = current.outcome != Outcome::running;
    const bool other = process != 0 && current.process != 0 && process != current.process;
    const bool late = time - current.last > kPauseBetweenReadsMs;
    const bool dnAnew = step == "dn" && process != 0 && (ended || current.beyondDn);
    if (IsTrailing(step)) {
      // To the newest read of that process, whatever has begun since.
      for (auto read = reads.rbegin(); other && read != reads.rend(); ++read) {
        if (read->process == process) return *read;
      }
      return current;
    }
    if (!other && !dnAnew && !(ended || late)) {
      if (current.process == 0) current.process = process;
      return current;
    }
  }
  Read read;
  read.number = ++readCount;
  read.begin = read.last = time;
  read.process = process;
  read.card = card;
  read.scenario = scenario;
  reads.push_back(std::move(read));
  if (reads.size() > kMostReads) reads.pop_front();
  ++version;
  return reads.back();
}

void ReadHistory::AddStep(Read& read, Json step) {
  read.last = std::max(read.last, step.value("time", read.last));
  if (read.steps.size() >= kMostSteps) read.steps.pop_front();
  read.steps.push_back(std::move(step));
  ++version;
}

ReadHistory::Json ReadHistory::Describe(const Read& read) {
  constexpr std::array<const char*, 3> kOutcomes = {"running", "content-sent", "failed"};
  Json described = {{"number", read.number},
                    {"begin", read.begin},
                    {"last", read.last},
                    {"process", read.process},
                    {"card", read.card},
                    {"scenario", read.scenario},
                    {"outcome", kOutcomes[static_cast<std::size_t>(read.outcome)]},
                    {"log", read.log}};
  if (read.code >= 0) described["code"] = read.code;
  return described;
}

ReadHistory::Json ReadHistory::Summary() const {
  Json summary = {{"reads", Json::array()}};
  for (auto read = reads.rbegin(); read != reads.rend(); ++read) {
    summary["reads"].push_back(Describe(*read));
  }
  if (!reads.empty()) summary["reads"][0]["steps"] = reads.back().steps;
  return summary;
}

ReadHistory::Json ReadHistory::StepsOf(std::uint64_t number) const {
  for (const Read& read : reads) {
    if (read.number != number) continue;
    Json described = Describe(read);
    described["steps"] = read.steps;
    return described;
  }
  return nullptr;
}

}  // namespace devkit
