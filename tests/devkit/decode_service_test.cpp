// The service over real connections.

#include "decode_service/decode_service.h"

#include "base/asio.h"
#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

using asio::ip::tcp;
using std::chrono::milliseconds;

class Client {
 public:
  explicit Client(const DecodeService& service) {
    socket.connect({asio::ip::address_v4::loopback(), service.Port()});
    socket.set_option(tcp::no_delay(true));
  }

  void Send(const std::string& text) { asio::write(socket, asio::buffer(text)); }

  // Whatever comes until the object is whole; what came before the end of the connection otherwise.
  std::string Receive() {
    std::string text;
    std::error_code error;
    while (!error && (text.empty() || std::count(text.begin(), text.end(), '{') >
                                          std::count(text.begin(), text.end(), '}'))) {
      char bytes[4096];
      text.append(bytes, socket.read_some(asio::buffer(bytes), error));
    }
    ended = static_cast<bool>(error);
    return text;
  }

  std::string Exchange(const std::string& text) {
    Send(text);
    return Receive();
  }

  std::string LogIn() {
    const std::string answer = Exchange(ClientTexts::Login() + "\n");
    return nlohmann::json::parse(answer)["token"];
  }

  bool Ended() const { return ended; }

 private:
  asio::io_context context;
  tcp::socket socket{context};
  bool ended = false;
};

class DecodeServiceTest : public testing::Test {
 protected:
  void Misbehave(const std::string& faults) {
    service.SetScenario(ScenarioOf(R"({"service": {"faults": [)" + faults + "]}}"));
  }

  const Card card = Resident();
  DecodeService service{{card, ResidentWithoutFingerprint()}};
};

TEST_F(DecodeServiceTest, ServesManyClientsAtOnce) {
  Client first(service);
  Client second(service);
  const std::string token = first.LogIn();
  EXPECT_NE(second.LogIn(), token);
  const Card other = ResidentWithoutFingerprint();
  const std::string one = ClientTexts::Upload("dn2", token, DnBlock(card)) + "\n";
  const std::string two = ClientTexts::Upload("dn2", token, DnBlock(other)) + "\n";
  first.Send(one.substr(0, 50));
  EXPECT_NE(second.Exchange(two).find("\"type\":\"dn\""), std::string::npos);
  EXPECT_NE(first.Exchange(one.substr(50)).find("\"type\":\"dn\""), std::string::npos);
  EXPECT_EQ(service.OpenConnections(), 2);
}

TEST_F(DecodeServiceTest, MessagesSentTogetherAreAnsweredInOrder) {
  Client client(service);
  client.Send(ClientTexts::Heartbeat() + ClientTexts::Login() + "\n" + ClientTexts::Heartbeat());
  ASSERT_TRUE(service.WaitForReceived(3, milliseconds(10000)));
  const std::vector<ReceivedMessage> received = service.Received();
  EXPECT_EQ(received[0].exchange, "heartbeat");
  EXPECT_EQ(received[1].exchange, "login");
  EXPECT_TRUE(received[1].lineFeed);
  EXPECT_EQ(received[1].text, ClientTexts::Login());
  EXPECT_EQ(received[2].exchange, "heartbeat");
  EXPECT_FALSE(received[2].lineFeed);
}

TEST_F(DecodeServiceTest, LineFeedsMustStandWhereTheyBelong) {
  Client login(service);
  login.Send(ClientTexts::Login() + ClientTexts::Login());
  login.Receive();
  EXPECT_TRUE(login.Ended());
  Client heartbeat(service);
  heartbeat.Send(ClientTexts::Heartbeat() + "\n");
  heartbeat.Receive();
  heartbeat.Receive();
  EXPECT_TRUE(heartbeat.Ended());
}

TEST_F(DecodeServiceTest, BytesThatAreNoMessageEndTheConnection) {
  Client client(service);
  client.Send("hello");
  client.Receive();
  EXPECT_TRUE(client.Ended());
  EXPECT_EQ(service.Received().at(0).objection, "bytes that are no message");
}

TEST_F(DecodeServiceTest, TokensOutliveConnections) {
  const std::string token = Client(service).LogIn();
  const std::string dn = ClientTexts::Upload("dn2", token, DnBlock(card)) + "\n";
  Client client(service);
  client.Exchange(ClientTexts::Heartbeat());
  EXPECT_NE(client.Exchange(dn).find("\"code\":\"00\""), std::string::npos);
  service.ExpireAllTokens();
  EXPECT_EQ(client.Exchange(dn).find("\"code\":\"00\""), std::string::npos);
}

TEST_F(DecodeServiceTest, PlaysFaultsOfConnections) {
  Misbehave(R"({"at": "connect", "fault": "close", "times": 1},
               {"at": "login", "fault": "close", "times": 1},
               {"at": "login", "fault": "half", "times": 1})");
  Client refused(service);
  refused.Receive();
  EXPECT_TRUE(refused.Ended());
  Client closed(service);
  EXPECT_EQ(closed.Exchange(ClientTexts::Login() + "\n"), "");
  EXPECT_TRUE(closed.Ended());
  Client half(service);
  half.Send(ClientTexts::Login() + "\n");
  ASSERT_TRUE(service.WaitForReceived(2, milliseconds(10000)));
  Misbehave("");
  EXPECT_EQ(Client(service).LogIn().size(), 32u);
}

TEST_F(DecodeServiceTest, ThePortIsKeptWhileNobodyIsServed) {
  const std::uint16_t port = service.Port();
  const asio::ip::tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
  for (int round = 0; round < 3; ++round) {
    Misbehave(R"({"at": "connect", "fault": "not-listening"})");
    asio::io_context context;
    tcp::socket socket(context);
    std::error_code error;
    socket.connect(endpoint, error);
    EXPECT_TRUE(error);
    Misbehave("");
    EXPECT_EQ(service.Port(), port);
    EXPECT_EQ(Client(service).LogIn().size(), 32u);
  }
}

TEST_F(DecodeServiceTest, AnUnansweredClientWaits) {
  Misbehave(R"({"at": "connect", "fault": "unanswered"})");
  asio::io_context context;
  tcp::socket socket(context);
  bool ended = false;
  socket.async_connect({asio::ip::address_v4::loopback(), service.Port()},
                       [&ended](std::error_code) { ended = true; });
  context.run_for(milliseconds(200));
  EXPECT_FALSE(ended);
  socket.close();
  Misbehave("");
  EXPECT_EQ(Client(service).LogIn().size(), 32u);
}

TEST_F(DecodeServiceTest, AHangUpComesRightBehindTheAnswer) {
  Misbehave(R"({"at": "login", "fault": "hang-up"})");
  Client client(service);
  EXPECT_EQ(client.LogIn().size(), 32u);
  client.Receive();
  EXPECT_TRUE(client.Ended());
}

TEST_F(DecodeServiceTest, ASplitAnswerArrivesWhole) {
  Misbehave(R"({"at": "login", "fault": "split", "parts": 4, "gap": 1})");
  EXPECT_EQ(Client(service).LogIn().size(), 32u);
}

TEST_F(DecodeServiceTest, StoppingEndsEveryConnection) {
  Misbehave(R"({"at": "login", "fault": "delay", "ms": 600000})");
  Client waiting(service);
  waiting.Send(ClientTexts::Login() + "\n");
  ASSERT_TRUE(service.WaitForReceived(1, milliseconds(10000)));
  service.Stop();
  waiting.Receive();
  EXPECT_TRUE(waiting.Ended());
  EXPECT_EQ(service.OpenConnections(), 0);
  service.Stop();
}

TEST(DecodeServiceScenarioTest, AChangedScenarioFileHoldsForTheNextConnection) {
  const std::filesystem::path file =
      std::filesystem::temp_directory_path() / "decode-service-test-scenario.json";
  std::ofstream(file) << "{}";
  ServiceOptions options;
  options.scenarioFile = file;
  const DecodeService service({Resident()}, {}, options);
  EXPECT_EQ(Client(service).LogIn().size(), 32u);
  std::ofstream(file) << R"({"service": {"faults": [{"at": "login", "fault": "short-token"}]}})";
  EXPECT_EQ(Client(service).LogIn(), "a");
}

}  // namespace
}  // namespace devkit
