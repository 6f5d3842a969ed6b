#pragma once

#include <algorithm>
#include <functional>
#include <future>

#include "datafile/data_files.h"
#include "decode_service/decode_service.h"
#include "host/desk.h"
#include "host/run_folder.h"
#include "host/shipped_library.h"
#include "support/eventually.h"

namespace hosttest {

using idcardreader::Eventually;
using std::chrono::milliseconds;

struct ReadResult {
  int result = 0;
  std::chrono::microseconds duration{0};
  std::string lastError;  // asked for at once by the thread that has read
};

// A host of the shipped library with a virtual reader and a decode service.
class Host {
 public:
  void Begin() {
    folder.RemoveLogs();
    desk.Plug();
    StartService();
    WriteDataFiles();
    Load();
  }
  void End() {
    if (library) library->CloseComm();
    Unload();
    StopService();
  }

  void Load() { library = std::make_unique<ShippedLibrary>(folder.Library()); }
  // Without CloseComm.
  void Unload() { library.reset(); }

  // Starts the service, also once more on the port it had.
  void StartService() {
    serviceOptions.port = servicePort;
    service = std::make_unique<devkit::DecodeService>(Cards(), devkit::Scenario{}, serviceOptions);
    servicePort = service->Port();
  }
  void StopService() { service.reset(); }
  void ServiceMisbehaves(const nlohmann::json& serviceSection) {
    service->SetScenario(devkit::ParseScenario({{"service", serviceSection}}, "scenario"));
  }
  void ServiceBehaves() { ServiceMisbehaves(nlohmann::json::object()); }

  // Data files are read when the engine is created: by the first call, or that behind CloseComm.
  void WriteDataFiles(const std::vector<std::string>& endpoints) {
    devkit::WriteDataFile(folder.Path() / "appid.dat", devkit::AppIdLines("test-application"));
    devkit::WriteDataFile(folder.Path() / "hostport.dat", devkit::HostPortLines(endpoints));
  }
  void WriteDataFiles() { WriteDataFiles({"127.0.0.1:" + std::to_string(servicePort)}); }

  ReadResult ReadHere() const {
    const auto begin = std::chrono::steady_clock::now();
    const int result = library->readCardStart(0);
    const auto taken = std::chrono::steady_clock::now() - begin;
    return {result, std::chrono::duration_cast<std::chrono::microseconds>(taken), LastError()};
  }
  std::future<ReadResult> ReadInBackground() const {
    return std::async(std::launch::async, [this] { return ReadHere(); });
  }
  // Waits for its end; throws std::runtime_error, with the read stopped, when it does not come.
  ReadResult Await(std::future<ReadResult>& read) const {
    if (read.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
      library->readCardStop();
      read.wait();
      throw std::runtime_error("the read did not end by itself");
    }
    return read.get();
  }
  ReadResult Read() const {
    std::future<ReadResult> reading = ReadInBackground();
    return Await(reading);
  }

  std::string LastError() const { return library->readCardGetLastError(); }

  static const std::vector<devkit::Card>& Cards() {
    static const auto& cards =
        *new std::vector<devkit::Card>(devkit::ReadCards(SourceFolder() / "devkit" / "cards"));
    return cards;
  }
  static devkit::Card CardOf(const std::string& name) {
    for (const devkit::Card& card : Cards()) {
      if (card.label == name) return card;
    }
    throw std::runtime_error("there is no card " + name);
  }

  std::unique_ptr<ShippedLibrary> library;
  std::unique_ptr<devkit::DecodeService> service;
  devkit::ServiceOptions serviceOptions;
  std::uint16_t servicePort = 0;
  Desk desk;
  RunFolder& folder = RunFolder::Get();
};

// One fault as the section of a scenario.
inline nlohmann::json FaultAt(const std::string& place, const std::string& kind,
                              nlohmann::json parameters = nlohmann::json::object()) {
  parameters["at"] = place;
  parameters["fault"] = kind;
  return {{"faults", nlohmann::json::array({parameters})}};
}

}  // namespace hosttest
