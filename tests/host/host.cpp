#include "host/host.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "datafile/data_files.h"

namespace hosttest {

using std::chrono::steady_clock;

void Host::Begin() {
  folder.RemoveLogs();
  desk.Plug();
  StartService();
  WriteDataFiles();
  Load();
}

void Host::End() {
  if (library) library->CloseComm();
  Unload();
  StopService();
}

void Host::Load() { library = std::make_unique<ShippedLibrary>(folder.Library()); }

void Host::StartService() {
  serviceOptions.port = servicePort;
  service = std::make_unique<devkit::DecodeService>(Cards(), devkit::Scenario{}, serviceOptions);
  servicePort = service->Port();
}

void Host::ServiceMisbehaves(const nlohmann::json& serviceSection) {
  const nlohmann::ordered_json scenario = {{"service", serviceSection}};
  service->SetScenario(devkit::ParseScenario(scenario, "scenario of the test"));
}

void Host::WriteDataFiles(const std::vector<std::string>& endpoints) {
  devkit::WriteDataFile(folder.Path() / "appid.dat", devkit::AppIdLines("test-application"));
  devkit::WriteDataFile(folder.Path() / "hostport.dat", devkit::HostPortLines(endpoints));
}

ReadResult Host::ReadHere() const {
  const auto begin = steady_clock::now();
  ReadResult read;
  read.result = library->readCardStart(0);
  read.duration =
      std::chrono::duration_cast<std::chrono::microseconds>(steady_clock::now() - begin);
  return read;
}

std::future<ReadResult> Host::ReadInBackground() const {
  return std::async(std::launch::async, [this] { return ReadHere(); });
}

ReadResult Host::Await(std::future<ReadResult>& read) const {
  if (read.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
    library->readCardStop();
    read.wait();
    throw std::runtime_error("the read did not end by itself");
  }
  return read.get();
}

ReadResult Host::Read() const {
  std::future<ReadResult> reading = std::async(std::launch::async, [this] {
    ReadResult read = ReadHere();
    read.lastError = LastError();
    return read;
  });
  return Await(reading);
}

const std::vector<devkit::Card>& Host::Cards() {
  static const auto& cards =
      *new std::vector<devkit::Card>(devkit::ReadCards(SourceFolder() / "devkit" / "cards"));
  return cards;
}

devkit::Card Host::CardOf(const std::string& name) {
  const auto found = std::find_if(Cards().begin(), Cards().end(),
                                  [&name](const auto& card) { return card.label == name; });
  if (found == Cards().end()) throw std::runtime_error("there is no card " + name);
  return *found;
}

nlohmann::json FaultAt(const std::string& place, const std::string& kind,
                       nlohmann::json parameters) {
  parameters["at"] = place;
  parameters["fault"] = kind;
  return {{"faults", nlohmann::json::array({parameters})}};
}

bool Eventually(const std::function<bool()>& condition, milliseconds limit) {
  const auto end = steady_clock::now() + limit;
  while (!condition()) {
    if (steady_clock::now() > end) return false;
    std::this_thread::sleep_for(milliseconds(5));
  }
  return true;
}

}  // namespace hosttest
