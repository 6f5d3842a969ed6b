#include "desk_server/live_desk.h"

#include <utility>

namespace devkit {
namespace {

constexpr std::chrono::milliseconds kLookPause(50);

std::int64_t MillisecondsSince1970() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

}  // namespace

LiveDesk::LiveDesk(const std::filesystem::path& folder, std::uint16_t servicePort,
                   std::map<std::string, int> codes)
    : table(folder), history(std::move(codes)), journal(folder / "virtual-reader.json.journal") {
  ServiceOptions options;
  options.port = servicePort;
  options.rememberedMessages = 0;
  options.observer = [this](const ServiceEvent& event) {
    const std::lock_guard lock(newsMutex);
    // A host waits for the reader before it speaks to the service, and so does what is told of it.
    TakeJournal();
    history.AddServiceEvent(event, MillisecondsSince1970());
    news.notify_all();
  };
  service = std::make_unique<DecodeService>(table.Cards(), Scenario{}, std::move(options));
  table.Connect({[this](std::vector<Card> cards) { service->SetCards(std::move(cards)); },
                 [this](Scenario scenario) { service->SetScenario(std::move(scenario)); }});
  follower = std::thread([this] { Follow(); });
}

LiveDesk::~LiveDesk() {
  End();
  service->Stop();
}

void LiveDesk::Change(const std::function<void(DeskTable&)>& change) {
  const std::lock_guard tableLock(tableMutex);
  change(table);
  const std::lock_guard lock(newsMutex);
  history.SetDesk(table.CardOnDesk(), table.ScenarioInForce());
  ++tableVersion;
  news.notify_all();
}

LiveDesk::Json LiveDesk::DescribeTable() const {
  const std::lock_guard lock(tableMutex);
  return table.Describe();
}

std::optional<std::string> LiveDesk::CardText(const std::string& name) const {
  const std::lock_guard lock(tableMutex);
  return table.CardText(name);
}

LiveDesk::Json LiveDesk::Reads() const {
  const std::lock_guard lock(newsMutex);
  return history.Summary();
}

LiveDesk::Json LiveDesk::Read(std::uint64_t number) const {
  const std::lock_guard lock(newsMutex);
  return history.StepsOf(number);
}

bool LiveDesk::Edited() const {
  const std::lock_guard lock(tableMutex);
  return table.Edited();
}

bool LiveDesk::AwaitNews(Seen& seen, std::chrono::milliseconds limit, bool& newTable,
                         bool& newReads) const {
  std::unique_lock lock(newsMutex);
  news.wait_for(lock, limit, [&] {
    return ended || seen.table != tableVersion || seen.reads != history.Version();
  });
  newTable = seen.table != tableVersion;
  newReads = seen.reads != history.Version();
  seen = {tableVersion, history.Version()};
  return !ended;
}

void LiveDesk::End() {
  {
    const std::lock_guard lock(newsMutex);
    ended = true;
    news.notify_all();
  }
  if (follower.joinable()) follower.join();
}

void LiveDesk::Follow() {
  std::unique_lock lock(newsMutex);
  while (!ended) {
    const std::uint64_t before = history.Version();
    TakeJournal();
    for (const LoggedError& error : errors.NewLines()) {
      history.AddLoggedError(error.folder, error.text);
    }
    if (history.Version() != before) news.notify_all();
    news.wait_for(lock, kLookPause, [this] { return ended; });
  }
}

void LiveDesk::TakeJournal() {
  for (const nlohmann::json& line : journal.NewLines()) {
    if (const std::filesystem::path library = ReadHistory::LibraryOf(line); !library.empty()) {
      errors.AddLibrary(library);
    }
    history.AddJournalLine(line);
  }
}

}  // namespace devkit
