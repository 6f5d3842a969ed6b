#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "decode_service/decode_service.h"
#include "host/desk.h"
#include "host/run_folder.h"
#include "host/shipped_library.h"

namespace hosttest {

using std::chrono::milliseconds;

struct ReadResult {
  int result = 0;
  std::chrono::microseconds duration{0};
  std::string lastError;  // by Read alone: asked for at once by the thread that has read
};

// A host of the shipped library with a virtual reader and a decode service that knows all cards of
// the devkit.
class Host {
 public:
  void Begin();
  void End();

  void Load();
  // Without CloseComm.
  void Unload() { library.reset(); }

  // Starts the service, also once more on the port it had.
  void StartService();
  void StopService() { service.reset(); }
  void ServiceMisbehaves(const nlohmann::json& serviceSection);
  void ServiceBehaves() { ServiceMisbehaves(nlohmann::json::object()); }
  // To be called before the first call of the library, or after CloseComm: data files are read when
  // the engine is created.
  void WriteDataFiles(const std::vector<std::string>& endpoints);
  void WriteDataFiles() { WriteDataFiles({"127.0.0.1:" + std::to_string(servicePort)}); }

  // readCardStart(0).
  ReadResult ReadHere() const;
  std::future<ReadResult> ReadInBackground() const;
  // Waits for its end; throws std::runtime_error, with the read stopped, when it does not come.
  ReadResult Await(std::future<ReadResult>& read) const;
  ReadResult Read() const;

  std::string LastError() const { return library->readCardGetLastError(); }

  static devkit::Card CardOf(const std::string& name);
  // All cards of the devkit.
  static const std::vector<devkit::Card>& Cards();

  std::unique_ptr<ShippedLibrary> library;
  std::unique_ptr<devkit::DecodeService> service;
  devkit::ServiceOptions serviceOptions;
  std::uint16_t servicePort = 0;
  Desk desk;
  RunFolder& folder = RunFolder::Get();
};

// One fault as the section of a scenario.
nlohmann::json FaultAt(const std::string& place, const std::string& kind,
                       nlohmann::json parameters = nlohmann::json::object());

// Waits for what no event tells of; false when it has not become true within the limit.
bool Eventually(const std::function<bool()>& condition,
                milliseconds limit = std::chrono::seconds(10));

}  // namespace hosttest
