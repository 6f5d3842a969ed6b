#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

namespace hosttest {

// What lies on the virtual reader's desk. Each change takes hold at the library's next call of the
// reader.
class Desk {
 public:
  // The virtual reader's.
  Desk();
  // Another reader's; the folder also holds the cards, by their own name for it.
  explicit Desk(const std::filesystem::path& folder);

  // A card file of the devkit by its name without ".json"; presented anew each time.
  void Put(const std::string& card);
  void TakeCardAway();
  void Unplug();
  void Plug();
  // The reader's faults and latencies, in the words of scenarios; a new one starts from the first
  // fault. The service has its own.
  void Misbehave(const nlohmann::json& readerSection);
  void Behave() { Misbehave(nlohmann::json::object()); }
  // What the virtual reader found wrong with its host since the last call.
  std::string TakeComplaints();

 private:
  void Write();

  std::filesystem::path file;
  std::string cards;
  nlohmann::json content = nlohmann::json::object();
  int presentations = 0;
};

}  // namespace hosttest
