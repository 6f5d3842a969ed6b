// What of a card is left in the memory of a host that has given everything back.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <set>
#include <unordered_map>

#include "base/encoding.h"
#include "decode_service/content.h"
#include "host/host_test.h"
#include "memory/host/protocol.h"
#include "platform/code_page.h"
#include "virtual_reader/virtual_reader.h"

namespace memorytest {
namespace {

namespace fs = std::filesystem;
using hosttest::FaultAt;
using hosttest::kAnyCard;
using nlohmann::json;

// Something of a card in another process's memory.
struct Find {
  std::uintptr_t begin;
  std::uintptr_t end;
  std::string what;
  std::string mapping;  // as the system describes it
};

void PrintTo(const Find& find, std::ostream* stream) {
  *stream << find.what << ", " << find.end - find.begin << " bytes at 0x" << std::hex << find.begin
          << " in " << find.mapping;
}

// Everything that a card holds, in every spelling in which a program may have it, and in pieces.
class Needles {
 public:
  explicit Needles(const devkit::Card& card) {
    for (const std::string field : {"name", "id", "address", "issue"}) {
      const std::string text = card.Field(field);
      AddSpellings(field + " in UTF-8", text);
      AddSpellings(field + " in GBK", hosttest::Gbk(text));
      const std::u16string wide = idcardreader::platform::Utf8ToUtf16(text);
      // A piece has as many characters.
      AddSpellings(field + " in UTF-16",
                   std::string_view(reinterpret_cast<const char*>(wide.data()), 2 * wide.size()),
                   kLongPiece);
    }
    AddSpellings("DN", card.dn);
    AddSpellings("input key", card.inputKey);
    AddSpellings("output key", card.outputKey);
    AddSpellings("answer to the input key", card.keyAnswer);
    for (const auto& [id, bytes] : card.files) AddSpellings("file " + std::to_string(id), bytes);
    if (card.image) {
      AddSpellings("photo", *card.image);
      Add("photo as numbers", devkit::ByteArrayText(*card.image), kLongPiece);
    }
    Add("content in base64", devkit::Base64(devkit::Deflate(devkit::ContentText(card))),
        kLongPiece);
  }

  // Through all memory that the process may write to: its static data, its heap, its stacks.
  std::vector<Find> FindIn(pid_t process) const {
    std::vector<Find> finds;
    const fs::path folder = fs::path("/proc") / std::to_string(process);
    std::ifstream maps(folder / "maps");
    std::ifstream memory(folder / "mem", std::ios::binary);
    for (std::string mapping; std::getline(maps, mapping);) {
      unsigned long begin = 0, end = 0;
      char writable = 0;
      std::sscanf(mapping.c_str(), "%lx-%lx r%c", &begin, &end, &writable);
      if (writable != 'w') continue;
      std::string part(end - begin, '\0');
      memory.clear();
      memory.seekg(static_cast<std::streamoff>(begin));
      memory.read(part.data(), static_cast<std::streamsize>(part.size()));
      part.resize(static_cast<std::size_t>(memory.gcount()));
      for (std::size_t offset = 0; offset + kKeyBytes <= part.size(); ++offset) {
        const auto [first, last] = pieces.equal_range(KeyAt(part.data() + offset));
        for (auto found = first; found != last; ++found) {
          const auto& [what, piece] = found->second;
          if (part.compare(offset, piece.size(), piece) != 0) continue;
          AddTo(finds, {begin + offset, begin + offset + piece.size(), what, mapping});
        }
      }
    }
    return finds;
  }

 private:
  static constexpr std::size_t kKeyBytes = 6;  // the shortest name's in GBK and in UTF-16
  static constexpr std::size_t kPiece = 8;
  static constexpr std::size_t kLongPiece = 16;

  static std::uint64_t KeyAt(const char* bytes) {
    std::uint64_t key = 0;
    std::memcpy(&key, bytes, kKeyBytes);
    return key;
  }

  // As they are, and in hexadecimal digits of either kind.
  void AddSpellings(const std::string& what, const auto& bytes, std::size_t size = kPiece) {
    Add(what, {bytes.begin(), bytes.end()}, size);
    std::string digits = devkit::ToHex(devkit::Bytes(bytes.begin(), bytes.end()));
    Add(what + " in hexadecimal", digits, 2 * size);
    for (char& digit : digits) digit = static_cast<char>(std::tolower(digit));
    Add(what + " in small hexadecimal", digits, 2 * size);
  }

  // Every piece, but those that anything may hold.
  void Add(const std::string& what, const std::string& text, std::size_t pieceSize) {
    const std::size_t size = std::min(text.size(), pieceSize);
    for (std::size_t begin = 0; size >= kKeyBytes && begin + size <= text.size(); ++begin) {
      const std::string piece = text.substr(begin, size);
      if (std::set<char>(piece.begin(), piece.end()).size() < 5) continue;
      pieces.emplace(KeyAt(piece.data()), std::pair(what, piece));
    }
  }

  // Pieces that overlap are one find.
  static void AddTo(std::vector<Find>& finds, const Find& piece) {
    const auto same = std::find_if(finds.rbegin(), finds.rend(), [&piece](const Find& find) {
      return find.what == piece.what && piece.begin <= find.end;
    });
    if (same == finds.rend()) return finds.push_back(piece);
    same->end = std::max(same->end, piece.end);
  }

  // By their first bytes: what the piece is of, and the piece.
  std::unordered_multimap<std::uint64_t, std::pair<std::string, std::string>> pieces;
};

// A program that runs while this lives.
class Program {
 public:
  explicit Program(std::vector<std::string> command, int control = -1, int reader = -1) {
    std::vector<char*> arguments;
    for (std::string& argument : command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    process = fork();
    if (process != 0) return;
    dup2(control, kControl);
    dup2(reader, kReader);
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  ~Program() {
    kill(process, SIGTERM);
    waitpid(process, nullptr, 0);
  }

  pid_t process = -1;
};

// A host in a process of its own, with the shipped library and, over a socket, the reader of a desk:
// cards and service stay in this process, which is not searched.
class SearchedHost {
 public:
  SearchedHost(const fs::path& library, const fs::path& deskFile) {
    socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, control);
    socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, readerSocket);
    program.emplace(std::vector<std::string>{MEMORY_HOST, library.string()}, control[1],
                    readerSocket[1]);
    close(control[1]);
    close(readerSocket[1]);
    reader = std::thread([this, deskFile] { ServeReader(deskFile); });
  }
  ~SearchedHost() {
    program.reset();  // which ends the reader's thread too
    reader.join();
    close(control[0]);
    close(readerSocket[0]);
  }

  // Calls an export; of a 32-bit result only the lower half counts.
  std::intptr_t Call(const char* function, int argument = 0, bool inBackground = false) {
    memorytest::Call call{{}, argument, inBackground};
    std::snprintf(call.function, sizeof call.function, "%s", function);
    std::intptr_t result = -1;
    if (write(control[0], &call, sizeof call) != sizeof call ||
        read(control[0], &result, sizeof result) != sizeof result) {
      throw std::runtime_error("the host has ended");
    }
    return result;
  }

  std::vector<Find> Search(const char* card) const {
    return Needles(hosttest::Host::CardOf(card)).FindIn(program->process);
  }

 private:
  void ServeReader(const fs::path& deskFile) const {
    devkit::VirtualReader desk(deskFile);
    const int handle = desk.Open(0, 0);
    unsigned char report[65];
    ssize_t length = 0;
    while ((length = recv(readerSocket[0], report, sizeof report, 0)) > 0) {
      desk.Write(handle, report, static_cast<std::size_t>(length));
      // A reader without latencies has its answer, or a whole file, at once.
      while ((length = desk.Read(handle, report, sizeof report, 0)) > 0) {
        send(readerSocket[0], report, static_cast<std::size_t>(length), MSG_NOSIGNAL);
      }
    }
  }

  int control[2];  // our end, the host's
  int readerSocket[2];
  std::optional<Program> program;
  std::thread reader;
};

class MemoryTest : public hosttest::HostTest, public testing::WithParamInterface<const char*> {
 protected:
  // Nothing is loaded here.
  void SetUp() override {
    desk.Plug();
    StartService();
    WriteDataFiles();
    fs::copy_file(DISTANT_READER, folder.Path() / "libhidapi-hidraw.so.0",
                  fs::copy_options::overwrite_existing);
    if (Is("UsbWithLogs")) folder.WriteFile("conf.yaml", "canLog: true\n");
    if (!Is("Serial")) return;
    const fs::path portFile = folder.Path() / "port";
    fs::remove(portFile);
    serialReader.emplace(std::vector<std::string>{
        SERIAL_READER, "--desk", folder.DeskFile().string(), "--port-file", portFile.string()});
    ASSERT_TRUE(hosttest::Eventually([&] { return fs::exists(portFile); }));
    folder.WriteFile("conf.yaml", "comport: 115200\ncomname: " + folder.ReadFile("port"));
  }

  void TearDown() override {
    host.reset();
    folder.RemoveFile("conf.yaml");
    HostTest::TearDown();
  }

  static bool Is(std::string_view parameter) { return GetParam() == parameter; }

  // Everything behaves, a card is there, and a host that has read nothing yet.
  void Start(const char* card = kAnyCard) {
    host.reset();
    ServiceBehaves();
    service->ForgetReceived();
    desk.Behave();
    desk.Put(card);
    host.emplace(folder.Library(), folder.DeskFile());
    if (Is("Serial")) host->Call("readCardSetDeviceType", 1);
  }

  bool Does(const char* function) { return (host->Call(function) & 0xFFFFFFFF) == 1; }

  std::optional<SearchedHost> host;
  std::optional<Program> serialReader;
};

TEST_P(MemoryTest, NothingIsLeftBehindAReadThatFailedOrWasStoppedAndClosing) {
  const struct {
    json reader;
    json service;
    const char* card = kAnyCard;
    bool goodReadFirst = false;
    int stoppedBehind = 0;  // so many messages
  } rows[] = {{{}, FaultAt("output-key", "refuse")},
              {{}, FaultAt("content", "corrupt")},
              {{}, FaultAt("content", "cut-zlib")},
              {{}, FaultAt("content", "refuse")},
              {{}, FaultAt("content", "unknown-type")},
              {{}, {}, "resident-no-photo"},
              {FaultAt("dn", "status", {{"status", 3}}), {}, kAnyCard, true},
              // Login, DN, key and four files.
              {{}, FaultAt("sector-21", "drop"), kAnyCard, false, 7}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.card + row.reader.dump() + row.service.dump());
    Start(row.card);
    if (row.goodReadFirst) {
      ASSERT_TRUE(Does("readCardStart"));
      host->Call("GetPeopleAddress");
    }
    if (!row.reader.is_null()) desk.Misbehave(row.reader);
    if (!row.service.is_null()) ServiceMisbehaves(row.service);
    EXPECT_NE(host->Call("readCardStart", 0, row.stoppedBehind > 0) & 0xFFFFFFFF, 1);
    if (row.stoppedBehind > 0) {
      EXPECT_TRUE(service->WaitForReceived(row.stoppedBehind, std::chrono::seconds(20)));
      host->Call("readCardStop");
    }
    EXPECT_TRUE(Does("CloseComm"));
    EXPECT_THAT(host->Search(row.card), testing::IsEmpty());
  }
}

// What the host was given stays its own: the blocks and the last text.
TEST_P(MemoryTest, BehindAGoodReadWhoseFieldsHaveGoneOnlyWhatTheHostHoldsIsLeft) {
  Start();
  ASSERT_TRUE(Does("readCardStart"));
  host->Call("GetPeopleAddress");
  const auto text = static_cast<std::uintptr_t>(host->Call("GetPeopleName"));
  const auto fields = host->Search(kAnyCard);
  EXPECT_TRUE(std::any_of(fields.begin(), fields.end(), [text](const Find& find) {
    return find.what == "name in GBK" && find.begin != text;
  })) << "the search finds nothing where something is";

  EXPECT_TRUE(hosttest::Eventually([this] { return !Does("GetNewCardType"); }));
  auto left = host->Search(kAnyCard);
  const auto allow = [&left](std::uintptr_t begin, std::size_t size) {
    return std::erase_if(left, [begin, size](const Find& find) {
      return find.begin >= begin && find.end <= begin + size;
    });
  };
  const auto allowAt = [&](const char* what, std::size_t size) {
    const auto found = std::find_if(left.begin(), left.end(),
                                    [what](const Find& find) { return find.what == what; });
    return found != left.end() && allow(found->begin, size) > 0;
  };
  allow(text, hosttest::Gbk(CardOf(kAnyCard).Field("name")).size());
  // The name stands first in the text block.
  EXPECT_TRUE(allowAt("name in UTF-16", IDCARDREADER_TEXT_BLOCK_BYTES));
  EXPECT_TRUE(allowAt("photo", IDCARDREADER_PHOTO_BLOCK_BYTES));
  EXPECT_THAT(left, testing::IsEmpty());
  EXPECT_TRUE(Does("CloseComm"));
}

INSTANTIATE_TEST_SUITE_P(Reader, MemoryTest, testing::Values("Usb", "UsbWithLogs", "Serial"),
                         [](const auto& line) { return std::string(line.param); });

}  // namespace
}  // namespace memorytest
