#include "whole_read/host.h"

#include <chrono>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "datafile/data_files.h"
#include "host/run_folder.h"

namespace bench {
namespace {

using hosttest::RunFolder;
using Clock = std::chrono::steady_clock;

constexpr char kCard[] = "sample";

std::filesystem::path CardFile() {
  return hosttest::SourceFolder() / "devkit" / "cards" / (std::string(kCard) + ".json");
}

double Milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

}  // namespace

Host::Host(const RunningService& running) : scenarioFile(running.scenarioFile) {
  if (running.port == 0) {
    service.emplace(devkit::ReadCards(CardFile()), devkit::Scenario(),
                    devkit::ServiceOptions{.rememberedMessages = 0});
  }
  const std::string endpoint =
      "127.0.0.1:" + std::to_string(service ? service->Port() : running.port);
  const RunFolder& folder = RunFolder::Get();
  devkit::WriteDataFile(folder.Path() / "appid.dat", devkit::AppIdLines("bench"));
  devkit::WriteDataFile(folder.Path() / "hostport.dat",
                        devkit::HostPortLines({endpoint, endpoint}));
  desk.Put(kCard);
}

Host::~Host() { Unload(); }

void Host::Unload() {
  if (library != nullptr) library->CloseComm();
  library.reset();
}

void Host::SetLatencies(int report, int exchange) {
  desk.Misbehave({{"latency", {{"report", report}}}});
  const nlohmann::ordered_json scenario = {{"service", {{"latency", {{"exchange", exchange}}}}}};
  if (service) {
    service->SetScenario(devkit::ParseScenario(scenario, "latencies"));
  } else {
    std::ofstream(scenarioFile) << scenario;  // read when the next read connects
  }
}

double Host::Read() {
  const Clock::time_point begin = Clock::now();
  const bool succeeded = library->readCardStart(0) == 1;
  const double took = Milliseconds(Clock::now() - begin);
  if (!succeeded) {
    throw std::runtime_error(std::string("a read failed: ") + library->readCardGetLastError());
  }
  static const std::string idNumber = devkit::ReadCardFile(CardFile()).Field("id");
  if (library->GetPeopleIDCode() != idNumber) throw std::runtime_error("another card was read");
  return took;
}

double Host::Load() {
  Unload();
  const Clock::time_point begin = Clock::now();
  library = std::make_unique<hosttest::ShippedLibrary>(RunFolder::Get().Library());
  library->readCardGetSdkVersion();
  return Milliseconds(Clock::now() - begin);
}

}  // namespace bench
