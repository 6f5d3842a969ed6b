#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "card/card.h"
#include "datafile/data_files.h"
#include "decode_service/decode_service.h"
#include "engine/reader_engine.h"
#include "platform/socket.h"
#include "support/result_items.h"
#include "support/status_codes.h"
#include "support/temporary_folder.h"
#include "virtual_reader/virtual_reader.h"

// The dialect without a login, which the shipped library does not speak: the whole engine between the
// devkit's reader and service.

namespace idcardreader {
namespace {

class DeskDevice : public ReaderDevice {
 public:
  DeskDevice(devkit::VirtualReader& reader, int handle) : reader(reader), handle(handle) {}
  ~DeskDevice() override { reader.Close(handle); }
  int Write(const std::uint8_t* data, std::size_t count) override {
    return reader.Write(handle, data, count);
  }
  int Read(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) override {
    return reader.Read(handle, data, capacity, static_cast<int>(timeoutMs));
  }

 private:
  devkit::VirtualReader& reader;
  const int handle;
};

class DeskDoor : public ReaderDoor {
 public:
  explicit DeskDoor(const std::filesystem::path& deskFile) : reader(deskFile) {}

  Result OpenHid(std::uint16_t vendorId, std::uint16_t productId,
                 std::unique_ptr<ReaderDevice>& device) override {
    if (!reader.Enumerate(vendorId, productId)) return Result::not_found;
    device = std::make_unique<DeskDevice>(reader, reader.Open(vendorId, productId));
    return Result::opened;
  }
  std::unique_ptr<platform::CPort> OpenSerial(const std::string&, std::uint32_t) override {
    return nullptr;
  }

 private:
  devkit::VirtualReader reader;
};

struct Case {
  const char* name;
  const char* scenario;
  std::int32_t code;  // 0: the read succeeds
};

class DeviceCodeDialectTest : public testing::TestWithParam<Case> {};

TEST_P(DeviceCodeDialectTest, ReadsOrRaisesItsCode) {
  const TemporaryFolder folder;
  const devkit::Card card = devkit::ReadCardFile(
      std::filesystem::path(std::getenv("IDCARDREADER_SOURCE")) / "devkit/cards/sample.json");
  devkit::DecodeService service(
      {card},
      devkit::ParseScenario(nlohmann::ordered_json::parse(GetParam().scenario), "scenario"));
  const std::string endpoint = "127.0.0.1:" + std::to_string(service.Port());
  devkit::WriteDataFile(folder.path / "appid.dat", devkit::AppIdLines("app"));
  devkit::WriteDataFile(folder.path / "hostport.dat", devkit::HostPortLines({endpoint, endpoint}));
  folder.Write("desk.json", R"({"card": ")" + std::string(std::getenv("IDCARDREADER_SOURCE")) +
                                R"(/devkit/cards/sample.json"})");
  DeskDoor door(folder.path / "desk.json");
  ReaderEngine engine({door, platform::SystemSockets(), platform::SystemClock(), folder.path,
                       folder.path, DeviceCodeDialect()});

  EXPECT_EQ(engine.ReadCardStartRead(false), GetParam().code == 0) << engine.GetLastErrorText();
  if (GetParam().code == 0) {
    EXPECT_EQ(engine.GetResultText(ResultItem::id_number), card.Field("id"));
    EXPECT_EQ(engine.GetResultText(ResultItem::card_type), "1");
  } else {
    EXPECT_EQ(engine.GetLastErrorText().find(StatusText(GetParam().code)), 0U);
    EXPECT_EQ(engine.GetResultText(ResultItem::id_number), "");
  }
  for (const devkit::ReceivedMessage& message : service.Received()) {
    EXPECT_EQ(message.text.rfind("{\"sbm\":\"app&", 0), 0U) << message.text;
    EXPECT_FALSE(message.lineFeed) << message.text;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Service, DeviceCodeDialectTest,
    testing::Values(
        Case{"WholeContent", "{}", 0},
        Case{"ContentInThreeReceives",
             R"({"service":{"faults":[{"at":"content","fault":"split","parts":3}]}})", 0},
        Case{"ClosedBeforeTheContent",
             R"({"service":{"faults":[{"at":"content","fault":"close"}]}})", 22},
        // Three receives of a second each outlast the wait for the final answer.
        Case{"NoContent", R"({"service":{"faults":[{"at":"content","fault":"drop"}]}})", 46},
        Case{"ContentInAnswerToTheDn", R"({"service":{"faults":[{"at":"dn","fault":"content"}]}})",
             0},
        Case{"ContentInAnswerToTheOutputKey",
             R"({"service":{"faults":[{"at":"output-key","fault":"content"}]}})", 0},
        Case{"DnRefused", R"({"service":{"faults":[{"at":"dn","fault":"refuse"}]}})", 44},
        Case{"OutputKeyOfAnotherKind",
             R"({"service":{"faults":[{"at":"output-key","fault":"wrong-marker"}]}})", 45},
        Case{"HeartbeatNotAnswered",
             R"({"service":{"faults":[{"at":"heartbeat","fault":"drop"}]}})", 8}),
    [](const auto& testCase) { return testCase.param.name; });

}  // namespace
}  // namespace idcardreader
