#include "desk_server/desk_table.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "base/json_file.h"
#include "desk_server/working_folder.h"

namespace devkit {
namespace {

constexpr std::size_t kLongestCardName = 64;
constexpr std::size_t kMostCards = 500;
constexpr int kDeepest = 16;

// Windows takes these for devices, whatever follows behind a dot.
bool IsDeviceOfWindows(const std::string& name) {
  if (name == "con" || name == "prn" || name == "aux" || name == "nul") return true;
  return name.size() == 4 && (name.starts_with("com") || name.starts_with("lpt"));
}

// One spelling of a name only: some file systems tell no upper case from lower.
bool IsName(const std::string& name) {
  return !name.empty() && name.size() <= kLongestCardName && name.front() != '-' &&
         std::all_of(name.begin(), name.end(),
                     [](char letter) {
                       return (letter >= 'a' && letter <= 'z') ||
                              (letter >= '0' && letter <= '9') || letter == '-' || letter == '_';
                     }) &&
         !IsDeviceOfWindows(name);
}

std::vector<std::filesystem::path> JsonFiles(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".json") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// What comes from outside may be nested so deeply that writing it would exhaust the stack.
nlohmann::ordered_json ParseShallow(const std::string& text, const std::string& where) {
  using Json = nlohmann::ordered_json;
  try {
    return Json::parse(text, [&](int depth, Json::parse_event_t, Json&) {
      if (depth > kDeepest) throw FileError(where + ": nested too deeply");
      return true;
    });
  } catch (const nlohmann::json::exception& error) {
    throw FileError(where + ": " + error.what());
  }
}

}  // namespace

// A host that goes on from an earlier desk in the same folder must find its card presented anew.
DeskTable::DeskTable(std::filesystem::path workingFolder)
    : folder(std::move(workingFolder)),
      serial(static_cast<unsigned long long>(std::chrono::system_clock::now().time_since_epoch() /
                                             std::chrono::milliseconds(1))) {
  for (const std::filesystem::path& file : JsonFiles(folder / "cards")) {
    CardEntry entry;
    entry.name = PathText(file.stem());
    try {
      entry.json = ReadJsonFile(file);
      entry.card = ParseCard(entry.json, entry.name, entry.name);
    } catch (const FileError& error) {
      entry.problem = error.what();
    }
    cards.push_back(std::move(entry));
  }
  for (const std::filesystem::path& file : JsonFiles(folder / "scenarios")) {
    ScenarioEntry entry;
    entry.name = PathText(file.stem());
    entry.json = ReadJsonFile(file);
    entry.scenario = ParseScenario(entry.json, entry.name);
    scenarios.push_back(std::move(entry));
  }
  WriteDesk();
}

std::vector<Card> DeskTable::Cards() const {
  std::vector<Card> readable;
  for (const CardEntry& entry : cards) {
    if (entry.card) readable.push_back(*entry.card);
  }
  return readable;
}

void DeskTable::Lay(const std::optional<std::string>& cardName) {
  if (cardName) {
    const CardEntry* entry = FindCard(*cardName);
    if (entry == nullptr) throw Refused("there is no card of this name");
    if (!entry->card) throw Refused(entry->problem);
  }
  laid = cardName.value_or("");
  WriteDesk();
}

void DeskTable::Plug(bool in) {
  plugged = in;
  WriteDesk();
}

void DeskTable::Choose(const std::optional<std::string>& scenarioName) {
  Scenario scenario;
  if (scenarioName) {
    const auto found =
        std::find_if(scenarios.begin(), scenarios.end(),
                     [&](const ScenarioEntry& entry) { return entry.name == *scenarioName; });
    if (found == scenarios.end()) throw Refused("there is no scenario of this name");
    scenario = found->scenario;
  }
  chosen = scenarioName.value_or("");
  WriteDesk();
  if (listeners.setScenario) listeners.setScenario(std::move(scenario));
}

void DeskTable::Save(const std::string& cardName, const std::string& text) {
  if (!IsName(cardName)) {
    throw Refused("a card's name is of lower-case letters, digits, '-' and '_', 64 at most");
  }
  CardEntry entry;
  entry.name = cardName;
  try {
    entry.json = ParseShallow(text, cardName);
    entry.card = ParseCard(entry.json, cardName, cardName);
    CardEntry* const old = FindCard(cardName);
    if (old == nullptr && cards.size() >= kMostCards) throw Refused("there are too many cards");
    std::vector<CardEntry> before = cards;
    if (old != nullptr) {
      *old = std::move(entry);
    } else {
      const auto place = std::find_if(cards.begin(), cards.end(), [&](const CardEntry& other) {
        return other.name > cardName;
      });
      cards.insert(place, std::move(entry));
    }
    try {
      if (listeners.setCards) listeners.setCards(Cards());
      WriteWholeFile(folder / "cards" / (cardName + ".json"),
                     FindCard(cardName)->json.dump(2) + "\n");
    } catch (...) {
      cards = std::move(before);
      if (listeners.setCards) listeners.setCards(Cards());
      throw;
    }
  } catch (const Refused&) {
    throw;
  } catch (const std::exception& error) {
    throw Refused(error.what());
  }
  edited = true;
  // The reader reads the file again when the desk changes.
  if (laid == cardName) WriteDesk();
}

DeskTable::Json DeskTable::Describe() const {
  Json described = {{"card", laid.empty() ? Json() : Json(laid)},
                    {"scenario", chosen.empty() ? Json() : Json(chosen)},
                    {"plugged", plugged},
                    {"cards", Json::array()},
                    {"scenarios", Json::array()}};
  for (const CardEntry& entry : cards) {
    Json card = {{"name", entry.name}, {"json", entry.json}};
    if (!entry.problem.empty()) card["problem"] = entry.problem;
    described["cards"].push_back(std::move(card));
  }
  for (const ScenarioEntry& entry : scenarios) {
    Json scenario = {{"name", entry.name}};
    for (const char* member : {"description", "code", "waits", "goodReadsBefore"}) {
      if (entry.json.contains(member)) scenario[member] = entry.json[member];
    }
    described["scenarios"].push_back(std::move(scenario));
  }
  return described;
}

std::optional<std::string> DeskTable::CardText(const std::string& cardName) const {
  for (const CardEntry& entry : cards) {
    if (entry.name == cardName) return entry.json.dump(2) + "\n";
  }
  return std::nullopt;
}

DeskTable::CardEntry* DeskTable::FindCard(const std::string& name) {
  const auto found = std::find_if(cards.begin(), cards.end(),
                                  [&](const CardEntry& entry) { return entry.name == name; });
  return found == cards.end() ? nullptr : &*found;
}

void DeskTable::WriteDesk() {
  Json desk = {{"journal", true}, {"serial", ++serial}, {"plugged", plugged}};
  desk["card"] = laid.empty() ? Json() : Json("cards/" + laid + ".json");
  if (!chosen.empty()) desk["scenario"] = "scenarios/" + chosen + ".json";
  WriteWholeFile(folder / "virtual-reader.json", desk.dump(2) + "\n");
}

}  // namespace devkit
