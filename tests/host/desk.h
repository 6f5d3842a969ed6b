#pragma once

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "base/json_file.h"
#include "host/run_folder.h"

namespace hosttest {

// What lies on a reader's desk. Each change takes hold at the library's next call of the reader.
class Desk {
 public:
  Desk()
      : file(RunFolder::Get().DeskFile()),
        cards(devkit::PathText(SourceFolder() / "devkit" / "cards")) {}
  // Another reader's; the folder also holds the cards, by their own name for it.
  explicit Desk(const std::filesystem::path& folder) : file(folder / "desk.json"), cards("cards") {}

  // A card file of the devkit by its name without ".json"; presented anew each time.
  void Put(const std::string& card) {
    content["serial"] = ++presentations;
    Set("card", cards + "/" + card + ".json");
  }
  void TakeCardAway() { Set("card", nullptr); }
  void Unplug() { Set("plugged", false); }
  void Plug() { Set("plugged", true); }
  // The reader's part of a scenario, which starts from its first fault.
  void Misbehave(const nlohmann::json& readerSection) {
    content["serial"] = ++presentations;
    Set("scenario", {{"reader", readerSection}});
  }
  void Behave() { Misbehave(nlohmann::json::object()); }

  // What the virtual reader found wrong with its host since the last call.
  std::string TakeComplaints() {
    std::filesystem::path log = file;
    log += ".log";
    std::istringstream lines(devkit::ReadTextFile(log).value_or(""));
    std::filesystem::remove(log);
    std::string complaints;
    for (std::string line; std::getline(lines, line);) {
      if (!line.starts_with("at work: ")) complaints += line + '\n';
    }
    return complaints;
  }

 private:
  // In one piece, so that no reader finds half a desk.
  void Set(const char* member, const nlohmann::json& value) {
    content[member] = value;
    const std::filesystem::path part = file.string() + ".part";
    std::ofstream(part, std::ios::binary) << content.dump(2);
    std::filesystem::rename(part, file);
  }

  std::filesystem::path file;
  std::string cards;
  nlohmann::json content = nlohmann::json::object();
  int presentations = 0;
};

}  // namespace hosttest
