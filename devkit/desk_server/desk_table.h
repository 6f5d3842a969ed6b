#pragma once

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "card/card.h"
#include "fault/fault.h"

namespace devkit {

// What was asked for cannot be done, for the reason in the text.
class Refused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The cards and scenarios of a working folder and what of them lies on the desk. Every change is in
// the desk file when the call returns. Not for several threads at once.
class DeskTable {
 public:
  using Json = nlohmann::ordered_json;

  // What has to hear of changes. Setting cards may throw FileError: then they stay as they were.
  struct Listeners {
    std::function<void(std::vector<Card>)> setCards;
    std::function<void(Scenario)> setScenario;
  };

  explicit DeskTable(std::filesystem::path folder);

  // The cards that can be read; what is wrong with the others stands in Describe.
  std::vector<Card> Cards() const;
  void Connect(Listeners changed) { listeners = std::move(changed); }

  // All throw Refused with nothing changed, and std::system_error when the desk file cannot be
  // written.
  void Lay(const std::optional<std::string>& cardName);
  void Plug(bool in);
  void Choose(const std::optional<std::string>& scenarioName);
  void Save(const std::string& cardName, const std::string& text);

  Json Describe() const;
  std::optional<std::string> CardText(const std::string& cardName) const;
  const std::string& CardOnDesk() const { return laid; }         // empty: none
  const std::string& ScenarioInForce() const { return chosen; }  // empty: none
  bool Edited() const { return edited; }

 private:
  struct CardEntry {
    std::string name;
    Json json;
    std::optional<Card> card;  // none: it cannot be read
    std::string problem;
  };
  struct ScenarioEntry {
    std::string name;
    Json json;
    Scenario scenario;
  };

  CardEntry* FindCard(const std::string& name);
  void WriteDesk();

  std::filesystem::path folder;
  std::vector<CardEntry> cards;
  std::vector<ScenarioEntry> scenarios;
  Listeners listeners;
  std::string laid;
  std::string chosen;
  bool plugged = true;
  bool edited = false;
  unsigned long long serial;
};

}  // namespace devkit
