// Cards by a serial reader, through the real port of the platform: a pseudo-terminal with the devkit's
// reader at its other end, and the shipped library on this one.

#include <cstdlib>
#include <fstream>

#include "host/child_process.h"
#include "host/host_test.h"
#include "platform/files.h"

namespace hosttest {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

std::string FromEnvironment(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr ? value : "";
}

class SerialTest : public HostTest {
 protected:
  void SetUp() override {
    ASSERT_FALSE(port.empty()) << "run by ctest, beside a serial reader";
    HostTest::SetUp();
    // Wine's threads that wait for a serial line leave its list of threads in disorder, which spoils
    // the heap when a library is loaded afterwards. It stays to the end: what is unloaded while the
    // process ends gives nothing back.
    [[maybe_unused]] static const auto& loadedOnce = *new ShippedLibrary(folder.Library());
    desk = Desk(FromEnvironment("IDCARDREADER_SERIAL_DESK"));
    desk.Plug();
    desk.Behave();
    OpenAt(57600);
  }

  void TearDown() override {
    HostTest::TearDown();
    fs::remove(ConfigurationFile());
  }

  void OpenAt(int rate) {
    library->CloseComm();
    std::ofstream file(ConfigurationFile(), std::ios::binary);
    file << "# serial reader\ncomport: " << rate << "\n";
    file << (port[0] == '/' ? "comname: " : "comnum: ") << port << "\n";
    file.close();
    EXPECT_EQ(library->readCardSetDeviceType(1), 1);
  }

  void Misbehave(const char* at, const char* fault, json parameters = json::object()) {
    parameters["at"] = at;
    parameters["fault"] = fault;
    desk.Misbehave({{"faults", json::array({parameters})}});
  }

  static fs::path ConfigurationFile() {
    return idcardreader::platform::ExecutableFolder() / "conf.yaml";
  }

  const std::string port = FromEnvironment("IDCARDREADER_SERIAL_PORT");
};

TEST_F(SerialTest, ReadsWholeCardsAtBothRates) {
  for (const int rate : {57600, 115200}) {
    SCOPED_TRACE(rate);
    OpenAt(rate);
    for (const char* card : {kAnyCard, "gat", "resident-long-messages"}) {
      SCOPED_TRACE(card);
      ExpectGoodRead(card);
    }
  }
  desk.Put(kTypeACard);
  char uid[IDCARDREADER_UID_BYTES] = {};
  EXPECT_EQ(library->readCardGetUID(0, uid), 1);
  EXPECT_EQ(uid, devkit::ToHex(CardOf(kTypeACard).uid));
}

TEST_F(SerialTest, EndsInTimeWithItsCodeAndReadsTheNextCard) {
  const struct {
    const char* at;
    const char* fault;
    json parameters;
    const char* text;
    milliseconds limit;  // with a third of a second for each of the twelve commands
  } rows[] = {
      {"dn", "drop", json::object(), "读取DN码", milliseconds(4500)},
      {"output-key", "status", {{"status", 7}}, "读卡(CRC_A不匹配)", milliseconds(4500)},
      {"file-12", "gap", {{"ms", 60000}}, "读卡(设备响应错误)", milliseconds(6500)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.at) + " " + row.fault);
    desk.Put(kAnyCard);
    Misbehave(row.at, row.fault, row.parameters);
    const ReadResult read = Read();
    EXPECT_EQ(read.result, 0);
    EXPECT_LT(read.duration, row.limit);
    EXPECT_TRUE(LastError().starts_with(Gbk(row.text))) << LastError();
    ExpectNoRecord(*library);
    desk.Behave();
    ExpectGoodRead("gat");
  }
}

TEST_F(SerialTest, AStopEndsTheWaitForAFile) {
  desk.Put(kAnyCard);
  Misbehave("file-12", "gap", {{"ms", 60000}});
  service->ForgetReceived();
  std::future<ReadResult> read = ReadInBackground();
  ASSERT_TRUE(service->WaitForReceived(4, milliseconds(10000)));  // of the first file
  library->readCardStop();
  EXPECT_EQ(read.wait_for(milliseconds(250)), std::future_status::ready);
  EXPECT_EQ(read.get().result, 0);
  desk.Behave();
  ExpectGoodRead("gat");
}

TEST_F(SerialTest, APortThatIsNotThereIsCode48AndIsLookedForAgain) {
  library->CloseComm();
  std::ofstream(ConfigurationFile(), std::ios::binary) << "# none\ncomnum: 998\n";
  EXPECT_EQ(library->readCardSetDeviceType(1), 1);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(Read().result, 0);
    const std::string text = library->readCardErrorInfo(48);
    EXPECT_EQ(LastError(), text + text);
  }
}

TEST_F(SerialTest, TheCommandLineHostUsesThePortToo) {
  library->CloseComm();
  CopyReadcard();
  desk.Put(kAnyCard);
  const ChildResult child = RunProgram(folder.Path().string(), "readcard",
                                       "--json --serial " + (port[0] == '/' ? port : "COM" + port));
  EXPECT_EQ(child.status, 0) << child.output << child.errors;
  const json document = json::parse(child.output);
  EXPECT_EQ(document["dn"], devkit::ToHex(CardOf(kAnyCard).dn));
  EXPECT_EQ(document["fields"]["name"], "周样本");
  folder.RemoveFile("conf.yaml");
}

}  // namespace
}  // namespace hosttest
