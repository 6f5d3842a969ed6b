// Cards by a serial reader, through the real port of the platform: a pseudo-terminal with the devkit's
// reader at its other end, and the shipped library on this one.

#include <cstdlib>
#include <fstream>

#include "host/child_process.h"
#include "host/host_test.h"
#include "platform/files.h"

namespace hosttest {
namespace {

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
    Use(port, 57600);
  }

  void TearDown() override {
    HostTest::TearDown();
    std::filesystem::remove(ConfigurationFile());
  }

  void Use(const std::string& portName, int rate) {
    library->CloseComm();
    std::ofstream(ConfigurationFile(), std::ios::binary)
        << "# serial reader\ncomport: " << rate << "\n"
        << (portName[0] == '/' ? "comname: " : "comnum: ") << portName << "\n";
    EXPECT_EQ(library->readCardSetDeviceType(1), 1);
  }

  static std::filesystem::path ConfigurationFile() {
    return idcardreader::platform::ExecutableFolder() / "conf.yaml";
  }

  const std::string port = FromEnvironment("IDCARDREADER_SERIAL_PORT");
};

TEST_F(SerialTest, ReadsWholeCardsAtBothRates) {
  for (const int rate : {57600, 115200}) {
    Use(port, rate);
    for (const char* card : {kAnyCard, "gat", "resident-long-messages"}) ExpectGoodRead(card);
  }
  desk.Put(kTypeACard);
  char uid[IDCARDREADER_UID_BYTES] = {};
  EXPECT_EQ(library->readCardGetUID(0, uid), 1);
  EXPECT_EQ(uid, devkit::ToHex(CardOf(kTypeACard).uid));
}

// A stop ends the wait for a file at once.
TEST_F(SerialTest, EndsInTimeWithItsCodeAndReadsTheNextCard) {
  const json pause = FaultAt("file-12", "gap", {{"ms", 60000}});
  const struct {
    json faults;
    int code;            // 0: it is stopped
    milliseconds limit;  // with a third of a second for each of the twelve commands
  } rows[] = {{FaultAt("dn", "drop"), 40, milliseconds(4500)},
              {FaultAt("output-key", "status", {{"status", 7}}), 38, milliseconds(4500)},
              {pause, 30, milliseconds(6500)},
              {pause, 0, milliseconds(1000)}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.code);
    desk.Put(kAnyCard);
    desk.Misbehave(row.faults);
    service->ForgetReceived();
    std::future<ReadResult> read = ReadInBackground();
    if (row.code == 0) {
      ASSERT_TRUE(service->WaitForReceived(4, milliseconds(10000)));  // of the first file
      library->readCardStop();
    }
    EXPECT_EQ(read.wait_for(row.limit), std::future_status::ready);
    EXPECT_EQ(Await(read).result, 0);
    if (row.code != 0) ExpectCode(row.code);
    ExpectNoRecord(*library);
    desk.Behave();
    ExpectGoodRead("gat");
  }
}

TEST_F(SerialTest, APortThatIsNotThereIsCode48AndIsLookedForAgain) {
  Use("998", 57600);
  const std::string text = library->readCardErrorInfo(48);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(Read().lastError, text + text);
}

TEST_F(SerialTest, TheCommandLineHostUsesThePortToo) {
  library->CloseComm();
  CopyReadcard();
  desk.Put(kAnyCard);
  const ChildResult child = RunProgram(folder.Path().string(), "readcard",
                                       "--json --serial " + (port[0] == '/' ? port : "COM" + port));
  EXPECT_EQ(child.status, 0) << child.output << child.errors;
  EXPECT_EQ(json::parse(child.output)["dn"], devkit::ToHex(CardOf(kAnyCard).dn));
  folder.RemoveFile("conf.yaml");
}

}  // namespace
}  // namespace hosttest
