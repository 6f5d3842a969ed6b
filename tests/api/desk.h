#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace apitest {

// What lies on the virtual reader's desk. Each change takes hold at the library's next call of the
// reader.
class Desk {
 public:
  // A card file of the devkit by its name without ".json"; presented anew each time.
  void Put(const std::string& card);
  void TakeCardAway();
  void Unplug();
  void Plug();
  // The reader's faults and latencies, in the words of scenarios; a new one starts from the first
  // fault. The service has its own.
  void Misbehave(const nlohmann::json& readerSection);
  void Behave() { Misbehave(nlohmann::json::object()); }

 private:
  void Write();

  nlohmann::json content = nlohmann::json::object();
  int presentations = 0;
};

}  // namespace apitest
