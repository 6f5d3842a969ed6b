// The desk's page at its HTTP edge, and what it makes of journal, service and error log.

#include "desk_server/desk_server.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <future>

#include "base/asio.h"
#include "base/json_file.h"
#include "desk_server/working_folder.h"
#include "reader_model/desk.h"
#include "support/eventually.h"
#include "support/temporary_folder.h"

namespace devkit {
namespace {

using idcardreader::Eventually;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Json = nlohmann::ordered_json;

std::filesystem::path SourceFolder() {
  const char* const folder = std::getenv("IDCARDREADER_SOURCE");
  return folder != nullptr ? folder : "";
}

class DeskServerTest : public testing::Test {
 protected:
  DeskServerTest()
      : work(folder.path / "desk"),
        desk((Fill(), work.Path()), 0, {{"读卡(未找到设备)", 27}, {"网络解析1-Json错误", 44}}),
        server(desk, {0, "zh", "the line"}) {}

  void Fill() const {
    work.Fill(
        {SourceFolder() / "devkit" / "cards", SourceFolder() / "devkit" / "scenarios", {}, {}, {}});
  }

  // What comes back until the server closes, or until it holds these words.
  std::string Send(const std::string& bytes, const std::string& until = "") const {
    asio::ip::tcp::iostream stream;
    stream.expires_after(std::chrono::seconds(20));
    stream.connect("127.0.0.1", std::to_string(server.Port()));
    stream << bytes << std::flush;
    std::string answer;
    for (char letter = 0; stream.get(letter);) {
      answer += letter;
      if (!until.empty() && answer.ends_with(until)) break;
    }
    return answer;
  }
  std::string Host() const { return "127.0.0.1:" + std::to_string(server.Port()); }
  std::string Get(const std::string& path, const std::string& headers = "") const {
    return Send("GET " + path + " HTTP/1.1\r\nHost: " + Host() + "\r\n" + headers + "\r\n");
  }
  std::string Post(const std::string& path, const std::string& body,
                   const std::string& headers = "Content-Type: application/json\r\n") const {
    return Send("POST " + path + " HTTP/1.1\r\nHost: " + Host() + "\r\n" + headers +
                "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
  }
  Json Desk() const { return ReadJsonFile(work.DeskFile()); }
  std::string CardFile(const std::string& name) const {
    return ReadTextFile(work.Path() / "cards" / (name + ".json")).value_or("");
  }
  static std::string SaveBody(const std::string& name, const std::string& card) {
    return Json{{"name", name}, {"json", card}}.dump();
  }
  void AddToJournal(const Json& line) const {
    std::ofstream(work.Path() / "virtual-reader.json.journal", std::ios::app | std::ios::binary)
        << line.dump() << '\n';
  }

  idcardreader::TemporaryFolder folder;
  WorkingFolder work;
  LiveDesk desk;
  DeskServer server;
};

constexpr char kOk[] = "HTTP/1.1 200";

TEST_F(DeskServerTest, ServesItsOwnFilesWithTheHeadersThatKeepThemAmongThemselves) {
  const std::string page = Get("/");
  EXPECT_THAT(page, StartsWith(kOk));
  EXPECT_THAT(page, HasSubstr("Content-Security-Policy: default-src 'self'"));
  EXPECT_THAT(page, HasSubstr("frame-ancestors 'none'"));
  EXPECT_THAT(page, HasSubstr("X-Content-Type-Options: nosniff"));
  EXPECT_THAT(page, HasSubstr("<html lang=\"zh\">"));
  for (const char* path : {"/desk.js", "/cards.js", "/texts.js", "/desk.css", "/icon.svg",
                           "/codes.json", "/api/desk", "/api/reads"}) {
    EXPECT_THAT(Get(path), StartsWith(kOk)) << path;
  }
}

TEST_F(DeskServerTest, ServesNothingElse) {
  for (const char* path :
       {"/../virtual-reader.json", "/virtual-reader.json", "/%2e%2e/%2e%2e/etc/passwd",
        "/cards/sample.json", "/api/cards/..%2fvirtual-reader.json", "/api/cards/nobody.json",
        "//etc/passwd", "/deskXjs", "/api/reads/1", "/index.html"}) {
    EXPECT_THAT(Get(path), StartsWith("HTTP/1.1 404")) << path;
  }
  EXPECT_THAT(Get("/api/cards/sample.json"), HasSubstr("林示例"));
}

TEST_F(DeskServerTest, RefusesForeignHostsOriginsAndSites) {
  const std::string port = ":" + std::to_string(server.Port());
  const auto withHost = [&](const std::string& host) {
    return Send("GET /api/desk HTTP/1.1\r\n" + host + "\r\n");
  };
  EXPECT_THAT(withHost("Host: localhost" + port + "\r\n"), StartsWith(kOk));
  for (const std::string& host :
       {std::string(), std::string("Host: 127.0.0.1\r\n"), "Host: evil.example" + port + "\r\n",
        "Host: 127.0.0.1" + port + "\r\nHost: evil.example\r\n",
        "Host: 127.0.0.1" + port + ".evil.example\r\n", std::string("Host: 127.0.0.1:1\r\n")}) {
    EXPECT_THAT(withHost(host), StartsWith("HTTP/1.1 403")) << host;
  }
  EXPECT_THAT(Get("/api/desk", "Origin: http://" + Host() + "\r\n"), StartsWith(kOk));
  for (const std::string& origin :
       {std::string("null"), std::string("http://evil.example"), "https://" + Host(),
        "http://localhost" + port, "http://" + Host() + ".evil.example"}) {
    const std::string header = "Origin: " + origin + "\r\n";
    for (const char* path : {"/", "/api/desk", "/api/events"}) {
      EXPECT_THAT(Get(path, header), StartsWith("HTTP/1.1 403")) << path << origin;
    }
    EXPECT_THAT(
        Post("/api/card", "{\"card\":\"sample\"}", header + "Content-Type: application/json\r\n"),
        StartsWith("HTTP/1.1 403"));
  }
  EXPECT_THAT(Get("/desk.js", "Sec-Fetch-Site: cross-site\r\n"), StartsWith("HTTP/1.1 403"));
  EXPECT_THAT(Get("/api/desk", "Sec-Fetch-Site: same-site\r\n"), StartsWith("HTTP/1.1 403"));
  EXPECT_TRUE(Desk()["card"].is_null());
}

TEST_F(DeskServerTest, ChangesNothingButByPostWithJson) {
  const std::string body = R"({"card":"sample"})";
  EXPECT_THAT(Post("/api/card", body, "Content-Type: text/plain\r\n"), StartsWith("HTTP/1.1 415"));
  EXPECT_THAT(Post("/api/card", body, ""), StartsWith("HTTP/1.1 415"));
  EXPECT_THAT(Get("/api/card?card=sample"), StartsWith("HTTP/1.1 404"));
  for (const char* method : {"PUT", "DELETE", "OPTIONS", "PATCH"}) {
    EXPECT_THAT(Send(std::string(method) + " /api/card HTTP/1.1\r\nHost: " + Host() + "\r\n\r\n"),
                StartsWith("HTTP/1.1 405"));
  }
  EXPECT_TRUE(Desk()["card"].is_null());
  EXPECT_THAT(Post("/api/card", body), StartsWith(kOk));
  EXPECT_EQ(Desk()["card"], "cards/sample.json");
}

TEST_F(DeskServerTest, TakesNoBodyForAnotherRequest) {
  const std::string hidden = "POST /api/card HTTP/1.1\r\nHost: " + Host() +
                             "\r\nContent-Type: application/json\r\nContent-Length: 17\r\n\r\n"
                             R"({"card":"sample"})";
  Post("/api/card", hidden, "Origin: http://evil.example\r\nContent-Type: text/plain\r\n");
  EXPECT_TRUE(Desk()["card"].is_null());
}

TEST_F(DeskServerTest, RefusesWhatIsWrongOrTooLarge) {
  for (const char* body : {"", "[]", "{", "{}", R"({"card":5})", R"({"card":"nobody"})",
                           R"({"card":"../virtual-reader"})", R"({"card":["sample"]})"}) {
    EXPECT_THAT(Post("/api/card", body), StartsWith("HTTP/1.1 422")) << body;
  }
  EXPECT_THAT(Post("/api/reader", R"({"plugged":"no"})"), StartsWith("HTTP/1.1 422"));
  EXPECT_THAT(Post("/api/scenario", R"({"scenario":"nothing"})"), StartsWith("HTTP/1.1 422"));
  EXPECT_THAT(Post("/api/card", std::string(100'000, ' ')), Not(StartsWith(kOk)));
  EXPECT_THAT(Send("GET /" + std::string(20'000, 'a') + " HTTP/1.1\r\n\r\n"), Not(StartsWith(kOk)));
  EXPECT_TRUE(Desk()["card"].is_null());
  EXPECT_THAT(Get("/api/desk"), StartsWith(kOk));
}

TEST_F(DeskServerTest, LaysCardsPlugsAndChooses) {
  Post("/api/card", R"({"card":"sample"})");
  Post("/api/reader", R"({"plugged":false})");
  Post("/api/scenario", R"({"scenario":"44-token-expired"})");
  const Json laid = Desk();
  EXPECT_EQ(laid["card"], "cards/sample.json");
  EXPECT_EQ(laid["plugged"], false);
  EXPECT_EQ(laid["scenario"], "scenarios/44-token-expired.json");
  EXPECT_EQ(laid["journal"], true);
  EXPECT_NO_THROW(ParseDesk(laid.dump(), "desk", work.Path()));
  Post("/api/card", R"({"card":null})");
  Post("/api/scenario", R"({"scenario":null})");
  EXPECT_TRUE(Desk()["card"].is_null());
  EXPECT_FALSE(Desk().contains("scenario"));
}

TEST_F(DeskServerTest, SavesARightCardAndNoWrongOne) {
  Json card = ReadJsonFile(work.Path() / "cards" / "sample.json");
  card["fields"]["name"] = "新名";
  EXPECT_THAT(Post("/api/save", SaveBody("sample", card.dump())), StartsWith(kOk));
  EXPECT_THAT(CardFile("sample"), HasSubstr("新名"));
  EXPECT_THAT(Get("/api/cards/sample.json"), HasSubstr("新名"));

  const std::string before = CardFile("sample");
  Json wrong = card;
  wrong["type"] = "nobody";
  const std::string deep =
      "{\"description\":" + std::string(20'000, '[') + std::string(20'000, ']') + "}";
  for (const std::string& text : {wrong.dump(), std::string("{"), std::string("5"), deep}) {
    EXPECT_THAT(Post("/api/save", SaveBody("sample", text)), StartsWith("HTTP/1.1 422"));
  }
  EXPECT_EQ(CardFile("sample"), before);
  // The same chip under another name: the service could not tell the two apart.
  const std::string twin = Post("/api/save", SaveBody("twin", card.dump()));
  EXPECT_THAT(twin, HasSubstr("have the same DN"));
  EXPECT_EQ(CardFile("twin"), "");
  EXPECT_THAT(Get("/api/desk"), Not(HasSubstr("twin")));
  card["chip"]["seed"] = 4711;
  for (const char* name : {"../evil", "..", "", "a/b", "a\\b", "Sample", "nul", "x.json"}) {
    EXPECT_THAT(Post("/api/save", SaveBody(name, card.dump())), StartsWith("HTTP/1.1 422")) << name;
  }
  EXPECT_THAT(Post("/api/save", SaveBody("twin", card.dump())), StartsWith(kOk));
  EXPECT_FALSE(std::filesystem::exists(folder.path / "evil.json"));
}

TEST_F(DeskServerTest, TellsOfChangesAndReadsAsTheyHappen) {
  const std::string request = "GET /api/events HTTP/1.1\r\nHost: " + Host() + "\r\n\r\n";
  auto events = std::async(std::launch::async, [&] { return Send(request, "\"failed\""); });
  AddToJournal({{"time", 1000}, {"process", 7}, {"request", "dn"}, {"number", 3}});
  AddToJournal({{"time", 1000},
                {"process", 7},
                {"library", PathText(folder.path / "host" / "libidcardreader.so")}});
  ASSERT_TRUE(Eventually([&] { return !desk.Reads()["reads"].empty(); }));
  std::filesystem::create_directories(folder.path / "host" / "errordata");
  // The Chinese for code 27 as the library logs it, far behind the desk's start.
  std::ofstream(folder.path / "host" / "errordata" / "99990101-000000000-Error.txt",
                std::ios::binary)
      << "9999:01:01|00:00:00|000|\xB6\xC1\xBF\xA8(\xCE\xB4\xD5\xD2\xB5\xBD\xC9\xE8\xB1\xB8)\n";
  ASSERT_TRUE(Eventually([&] { return desk.Reads()["reads"][0].value("code", -1) == 27; }));
  const std::string told = events.get();
  EXPECT_THAT(told, HasSubstr("text/event-stream"));
  EXPECT_THAT(told, HasSubstr("event: desk"));
  EXPECT_THAT(told, HasSubstr("event: reads"));
}

TEST_F(DeskServerTest, SilentClientsAndFollowersDelayNobodyAndEndWithTheServer) {
  asio::io_context context;
  std::vector<asio::ip::tcp::socket> clients;
  for (int i = 0; i < 40; ++i) {
    auto& client = clients.emplace_back(context);
    client.connect({asio::ip::address_v4::loopback(), server.Port()});
    const std::string part = i < 30 ? "GET /api/events HTTP/1.1\r\nHost: " + Host() + "\r\n\r\n"
                                    : "GET / HTTP/1.1\r\nHo";
    asio::write(client, asio::buffer(part));
  }
  EXPECT_TRUE(Eventually([&] { return Get("/api/events").starts_with("HTTP/1.1 503"); }));
  EXPECT_THAT(Get("/api/desk"), StartsWith(kOk));
  server.Stop();
}

TEST(ReadHistoryTest, TellsReadsApartAndTheirEndsByTheLog) {
  ReadHistory history({{"失败", 40}, {"网络", 44}});
  history.SetDesk("sample", "");
  const auto reader = [&](const char* name, int number, int process, bool answered) {
    Json line = {{"time", 5000}, {"process", process}, {"request", name}, {"number", number}};
    if (answered) line.update(Json{{"ms", 1.5}, {"bytes", 64}, {"status", 0}});
    history.AddJournalLine(line);
  };
  const auto service = [&](ServiceEvent::Kind kind, const char* exchange, std::size_t bytes) {
    ServiceEvent event;
    event.kind = kind;
    event.connection = 1;
    event.exchange = exchange;
    event.bytes = bytes;
    history.AddServiceEvent(event, 5001);
  };
  history.AddJournalLine({{"process", 1}, {"library", "/host/libidcardreader.so"}});
  reader("dn", 1, 1, false);
  reader("dn", 1, 1, true);
  history.AddLoggedError("/host", "失败");
  history.AddLoggedError("/host", "第二次重试DN");
  EXPECT_EQ(history.Summary()["reads"][0]["outcome"], "running");
  reader("dn", 2, 1, false);
  service(ServiceEvent::Kind::arrived, "sector-21", 0);
  service(ServiceEvent::Kind::answered, "sector-21", 0);
  EXPECT_EQ(history.Summary()["reads"][0]["outcome"], "running");
  service(ServiceEvent::Kind::arrived, "sector-21", 0);
  service(ServiceEvent::Kind::answered, "sector-21", 900);
  EXPECT_EQ(history.Summary()["reads"][0]["outcome"], "content-sent");
  ASSERT_EQ(history.Summary()["reads"].size(), 1U);

  reader("dn", 3, 1, false);
  ASSERT_EQ(history.Summary()["reads"].size(), 2U);
  history.AddLoggedError("/elsewhere", "失败");
  EXPECT_EQ(history.Summary()["reads"][0]["outcome"], "running");
  history.AddLoggedError("/host", "网络,and why");
  EXPECT_EQ(history.Summary()["reads"][0]["code"], 44);
  EXPECT_EQ(history.StepsOf(1)["steps"].size(), 4U);
  EXPECT_TRUE(history.StepsOf(9).is_null());
}

TEST(ReadHistoryTest, KeepsNoMoreThanItShows) {
  ReadHistory history({});
  for (int i = 0; i < 5000; ++i) {
    history.AddJournalLine({{"time", i}, {"process", 1 + i / 1000}, {"event", "stray"}});
  }
  const Json summary = history.Summary();
  EXPECT_EQ(summary["reads"].size(), 5U);
  EXPECT_EQ(summary["reads"][0]["steps"].size(), 300U);
  for (const char* line : {"{}", R"({"process":"x","event":5})", R"({"event":"e","time":"t"})"}) {
    EXPECT_NO_THROW(history.AddJournalLine(nlohmann::json::parse(line)));
  }
}

}  // namespace
}  // namespace devkit
