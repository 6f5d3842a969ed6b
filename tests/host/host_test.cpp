#include "host/host_test.h"

#include <thread>

#include "base/json_file.h"
#include "datafile/data_files.h"

namespace hosttest {
namespace {

using std::chrono::duration_cast;
using std::chrono::steady_clock;

std::filesystem::path CardFolder() { return SourceFolder() / "devkit" / "cards"; }

}  // namespace

void HostTest::SetUp() {
  folder.RemoveLogs();
  desk.Plug();
  StartService();
  WriteDataFiles();
  Load();
}

void HostTest::TearDown() {
  if (library) library->CloseComm();
  Unload();
  StopService();
  EXPECT_EQ(desk.TakeComplaints(), "");
}

void HostTest::Load() { library = std::make_unique<ShippedLibrary>(folder.Library()); }

void HostTest::StartService() {
  devkit::ServiceOptions options;
  options.port = servicePort;
  service = std::make_unique<devkit::DecodeService>(devkit::ReadCards(CardFolder()),
                                                    devkit::Scenario{}, options);
  servicePort = service->Port();
}

void HostTest::StopService() { service.reset(); }

void HostTest::ServiceMisbehaves(const nlohmann::json& serviceSection) {
  const nlohmann::ordered_json scenario = {{"service", serviceSection}};
  service->SetScenario(devkit::ParseScenario(scenario, "scenario of the test"));
}

void HostTest::WriteDataFiles() {
  devkit::WriteDataFile(folder.Path() / "appid.dat", devkit::AppIdLines("test-application"));
  devkit::WriteDataFile(folder.Path() / "hostport.dat",
                        devkit::HostPortLines({"127.0.0.1:" + std::to_string(servicePort)}));
}

std::future<ReadResult> HostTest::ReadInBackground() {
  return std::async(std::launch::async, [functions = library.get()] {
    const auto begin = steady_clock::now();
    ReadResult read;
    read.result = functions->readCardStart(0);
    read.duration = duration_cast<milliseconds>(steady_clock::now() - begin);
    return read;
  });
}

ReadResult HostTest::Read(milliseconds limit) {
  std::future<ReadResult> read = ReadInBackground();
  if (read.wait_for(limit) != std::future_status::ready) {
    ADD_FAILURE() << "The read has not ended after " << limit.count() << " ms";
    library->readCardStop();
  }
  return read.get();
}

ReadResult HostTest::ReadInTime(const std::function<void()>& prepare, milliseconds limit) {
  ReadResult read;
  for (int attempt = 0; attempt < 3; ++attempt) {
    prepare();
    read = Read();
    if (read.duration <= limit) return read;
  }
  ADD_FAILURE() << "The read took " << read.duration.count() << " ms, and has " << limit.count()
                << " ms";
  return read;
}

void HostTest::ExpectGoodRead(const std::string& card) {
  desk.Put(card);
  const ReadResult read = Read();
  EXPECT_EQ(read.result, 1) << LastError();
  if (read.result == 1) ExpectRecordOf(CardOf(card), *library);
}

void HostTest::CopyReadcard() const {
  for (const auto& entry : std::filesystem::directory_iterator(StageFolder() / "bin")) {
    const std::filesystem::path copy = folder.Path() / entry.path().filename();
    if (entry.path().stem() == "readcard" && !std::filesystem::exists(copy)) {
      std::filesystem::copy_file(entry.path(), copy);
    }
  }
}

devkit::Card HostTest::CardOf(const std::string& name) {
  return devkit::ReadCardFile(CardFolder() / (name + ".json"));
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
