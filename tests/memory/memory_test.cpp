// What of a card is left in the memory of a host that has given everything back.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

#include "host/host_test.h"
#include "memory/memory_search.h"
#include "memory/searched_host.h"

namespace memorytest {
namespace {

using hosttest::kAnyCard;
using nlohmann::json;
using std::chrono::milliseconds;

constexpr std::intptr_t kGone = 0;

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
    if (serialReader > 0) EndProgram(serialReader);
    folder.RemoveFile("conf.yaml");
    HostTest::TearDown();
  }

  static bool Is(std::string_view parameter) { return GetParam() == parameter; }

  void StartSerialReader() {
    const std::filesystem::path portFile = folder.Path() / "port";
    std::filesystem::remove(portFile);
    serialReader = StartProgram(
        {SERIAL_READER, "--desk", folder.DeskFile().string(), "--port-file", portFile.string()},
        {});
    ASSERT_TRUE(hosttest::Eventually([&] { return std::filesystem::exists(portFile); },
                                     milliseconds(10000)));
    std::string port;
    std::getline(std::ifstream(portFile), port);
    folder.WriteFile("conf.yaml", "comport: 115200\ncomname: " + port + "\n");
  }

  // Everything behaves, a card is there, and a host that has read nothing yet.
  void Begin(const char* card = kAnyCard) {
    host.reset();
    ServiceBehaves();
    service->ForgetReceived();
    desk.Behave();
    desk.Put(card);
    host = std::make_unique<SearchedHost>(folder.Path() / "memory-host", folder.Library(),
                                          folder.DeskFile());
    if (Is("Serial")) host->Do('s');
  }

  std::vector<Find> Search(const char* card = kAnyCard) const {
    return MemorySearch(CardOf(card)).In(host->Process());
  }

  static void ExpectNothing(const std::vector<Find>& finds) {
    EXPECT_TRUE(finds.empty()) << finds.size() << " finds";
    for (std::size_t i = 0; i < std::min<std::size_t>(finds.size(), 20); ++i) {
      const Find& find = finds[i];
      ADD_FAILURE() << find.what << ", " << find.end - find.begin << " bytes at 0x" << std::hex
                    << find.begin << " in\n"
                    << find.place;
    }
  }

  std::unique_ptr<SearchedHost> host;
  pid_t serialReader = -1;
};

TEST_P(MemoryTest, NothingIsLeftBehindAFailedReadAndClosing) {
  const struct {
    const char* what;
    json readerFault;
    json serviceFault;
    const char* card = kAnyCard;
    bool goodReadFirst = false;
  } rows[] = {
      {"output key refused", {}, {{"at", "output-key"}, {"fault", "refuse"}}},
      {"content damaged", {}, {{"at", "content"}, {"fault", "corrupt"}}},
      {"content cut off", {}, {{"at", "content"}, {"fault", "cut-zlib"}}},
      {"content refused", {}, {{"at", "content"}, {"fault", "refuse"}}},
      {"content of no known type", {}, {{"at", "content"}, {"fault", "unknown-type"}}},
      {"content without a photo", {}, {}, "resident-no-photo"},
      {"DN not read, behind another read",
       {{"at", "dn"}, {"fault", "status"}, {"status", 3}},
       {},
       kAnyCard,
       true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Begin(row.card);
    if (row.goodReadFirst) {
      ASSERT_EQ(host->Do('r'), 1);
      host->Do('t');
    }
    const auto section = [](const json& fault) {
      return fault.empty() ? json::object() : json{{"faults", json::array({fault})}};
    };
    desk.Misbehave(section(row.readerFault));
    ServiceMisbehaves(section(row.serviceFault));
    EXPECT_EQ(host->Do('r'), 0);
    EXPECT_EQ(host->Do('c'), 1);
    ExpectNothing(Search(row.card));
  }
}

TEST_P(MemoryTest, NothingIsLeftBehindAStopInTheLastFileAndClosing) {
  Begin();
  ServiceMisbehaves({{"faults", json::array({{{"at", "sector-21"}, {"fault", "drop"}}})}});
  host->Do('b');
  // Login, DN, key and four files.
  EXPECT_TRUE(service->WaitForReceived(7, milliseconds(20000)));
  EXPECT_EQ(host->Do('e'), 0);
  EXPECT_EQ(host->Do('c'), 1);
  ExpectNothing(Search());
}

// What the host was given stays its own: the blocks and the last text.
TEST_P(MemoryTest, BehindAGoodReadWhoseFieldsHaveGoneOnlyWhatTheHostHoldsIsLeft) {
  Begin();
  ASSERT_EQ(host->Do('r'), 1);
  const auto text = static_cast<std::uintptr_t>(host->Do('t'));
  const auto fields = Search();
  EXPECT_TRUE(std::any_of(fields.begin(), fields.end(), [text](const Find& find) {
    return find.what == "name in GBK" && find.begin != text;
  })) << "the search finds nothing where something is";

  EXPECT_TRUE(hosttest::Eventually([this] { return host->Do('k') == kGone; }, milliseconds(20000)));
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
  EXPECT_EQ(host->Do('c'), 1);
}

INSTANTIATE_TEST_SUITE_P(Reader, MemoryTest, testing::Values("Usb", "UsbWithLogs", "Serial"),
                         [](const auto& line) { return std::string(line.param); });

}  // namespace
}  // namespace memorytest
