// What of a card is left in the memory of a host that has given everything back.

#include <algorithm>
#include <fstream>

#include "host/host_test.h"
#include "memory/memory_search.h"
#include "memory/searched_host.h"

namespace memorytest {
namespace {

using hosttest::FaultAt;
using hosttest::kAnyCard;
using nlohmann::json;

class MemoryTest : public hosttest::HostTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    desk.Plug();
    StartService();
    WriteDataFiles();
    namespace fs = std::filesystem;
    constexpr auto kReplace = fs::copy_options::overwrite_existing;
    fs::copy_file(DISTANT_READER, folder.Path() / "libhidapi-hidraw.so.0", kReplace);
    fs::copy_file(MEMORY_HOST, folder.Path() / "memory-host", kReplace);
    if (Is("Serial")) StartSerialReader();
    if (Is("UsbWithLogs")) folder.WriteFile("conf.yaml", "canLog: true\n");
  }

  void TearDown() override {
    host.reset();
    serialReader.reset();
    folder.RemoveFile("conf.yaml");
    HostTest::TearDown();
  }

  static bool Is(std::string_view parameter) { return GetParam() == parameter; }

  void StartSerialReader() {
    const std::filesystem::path portFile = folder.Path() / "port";
    std::filesystem::remove(portFile);
    const std::vector<std::string> command = {SERIAL_READER, "--desk", folder.DeskFile().string(),
                                              "--port-file", portFile.string()};
    serialReader = std::make_unique<RunningProgram>(command, std::vector<int>());
    ASSERT_TRUE(hosttest::Eventually([&] { return std::filesystem::exists(portFile); }));
    std::string port;
    std::getline(std::ifstream(portFile), port);
    folder.WriteFile("conf.yaml", "comport: 115200\ncomname: " + port + "\n");
  }

  // Everything behaves, a card is there, and a host that has read nothing yet.
  void Start(const char* card = kAnyCard) {
    host.reset();
    ServiceBehaves();
    service->ForgetReceived();
    desk.Behave();
    desk.Put(card);
    host = std::make_unique<SearchedHost>(folder.Path() / "memory-host", folder.Library(),
                                          folder.DeskFile());
    if (Is("Serial")) host->Call("readCardSetDeviceType", 1);
  }

  bool Does(const char* function) { return (host->Call(function) & 0xFFFFFFFF) == 1; }

  std::uintptr_t Text(const char* function) {
    return static_cast<std::uintptr_t>(host->Call(function));
  }

  std::vector<Find> Search(const char* card = kAnyCard) const {
    return FindCard(CardOf(card), host->Process());
  }

  static void ExpectNothing(const std::vector<Find>& finds) {
    EXPECT_TRUE(finds.empty()) << finds.size() << " finds";
    for (std::size_t i = 0; i < std::min<std::size_t>(finds.size(), 20); ++i) {
      ADD_FAILURE() << finds[i].what << ", " << finds[i].end - finds[i].begin << " bytes at 0x"
                    << std::hex << finds[i].begin << " in\n"
                    << finds[i].place;
    }
  }

  std::unique_ptr<SearchedHost> host;
  std::unique_ptr<RunningProgram> serialReader;
};

TEST_P(MemoryTest, NothingIsLeftBehindAFailedReadAndClosing) {
  const struct {
    json reader;
    json service;
    const char* card = kAnyCard;
    bool goodReadFirst = false;
  } rows[] = {
      {json::object(), FaultAt("output-key", "refuse")},
      {json::object(), FaultAt("content", "corrupt")},
      {json::object(), FaultAt("content", "cut-zlib")},
      {json::object(), FaultAt("content", "refuse")},
      {json::object(), FaultAt("content", "unknown-type")},
      {json::object(), json::object(), "resident-no-photo"},
      {FaultAt("dn", "status", {{"status", 3}}), json::object(), kAnyCard, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.card + row.reader.dump() + row.service.dump());
    Start(row.card);
    if (row.goodReadFirst) {
      ASSERT_TRUE(Does("readCardStart"));
      Text("GetPeopleAddress");
    }
    desk.Misbehave(row.reader);
    ServiceMisbehaves(row.service);
    EXPECT_FALSE(Does("readCardStart"));
    EXPECT_TRUE(Does("CloseComm"));
    ExpectNothing(Search(row.card));
  }
}

TEST_P(MemoryTest, NothingIsLeftBehindAStopInTheLastFileAndClosing) {
  Start();
  ServiceMisbehaves(FaultAt("sector-21", "drop"));
  host->Call("readCardStart", 0, true);
  // Login, DN, key and four files.
  EXPECT_TRUE(service->WaitForReceived(7, std::chrono::seconds(20)));
  host->Call("readCardStop");
  EXPECT_TRUE(Does("CloseComm"));
  ExpectNothing(Search());
}

// What the host was given stays its own: the blocks and the last text.
TEST_P(MemoryTest, BehindAGoodReadWhoseFieldsHaveGoneOnlyWhatTheHostHoldsIsLeft) {
  Start();
  ASSERT_TRUE(Does("readCardStart"));
  Text("GetPeopleAddress");
  const std::uintptr_t text = Text("GetPeopleName");
  const auto fields = Search();
  EXPECT_TRUE(std::any_of(fields.begin(), fields.end(), [text](const Find& find) {
    return find.what == "name in GBK" && find.begin != text;
  })) << "the search finds nothing where something is";

  EXPECT_TRUE(hosttest::Eventually([this] { return !Does("GetNewCardType"); }));
  const auto left = Search();
  const auto found = [&left](const char* what) {
    return std::find_if(left.begin(), left.end(),
                        [what](const Find& find) { return find.what == what; });
  };
  ASSERT_NE(found("name in UTF-16"), left.end());
  ASSERT_NE(found("photo"), left.end());
  // The name stands first in the text block.
  const std::pair<std::uintptr_t, std::size_t> held[] = {
      {text, hosttest::Gbk(CardOf(kAnyCard).Field("name")).size()},
      {found("name in UTF-16")->begin, IDCARDREADER_TEXT_BLOCK_BYTES},
      {found("photo")->begin, IDCARDREADER_PHOTO_BLOCK_BYTES}};
  std::vector<Find> surplus;
  std::copy_if(left.begin(), left.end(), std::back_inserter(surplus), [&held](const Find& find) {
    return std::none_of(std::begin(held), std::end(held), [&find](const auto& place) {
      return find.begin >= place.first && find.end <= place.first + place.second;
    });
  });
  ExpectNothing(surplus);
  EXPECT_TRUE(Does("CloseComm"));
}

INSTANTIATE_TEST_SUITE_P(Reader, MemoryTest, testing::Values("Usb", "UsbWithLogs", "Serial"),
                         [](const auto& line) { return std::string(line.param); });

}  // namespace
}  // namespace memorytest
