// The service over real connections.

#include "decode_service/decode_service.h"

#include "base/asio.h"
#include "devkit/devkit_test_support.h"
#include "support/temporary_folder.h"

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
  void Receive() {
    std::string text;
    std::error_code error;
    while (!error && (text.empty() || std::count(text.begin(), text.end(), '{') >
                                          std::count(text.begin(), text.end(), '}'))) {
      char bytes[4096];
      text.append(bytes, socket.read_some(asio::buffer(bytes), error));
    }
    ended = static_cast<bool>(error);
  }

  bool Ended() const { return ended; }

 private:
  asio::io_context context;
  tcp::socket socket{context};
  bool ended = false;
};

TEST(DecodeServiceTest, BytesWhereNoneBelongEndTheConnection) {
  DecodeService service{{Resident()}};
  for (const std::string& text : {std::string("hello"), ClientTexts::Login() + ClientTexts::Login(),
                                  ClientTexts::Heartbeat() + "\n"}) {
    Client client(service);
    client.Send(text);
    for (int answer = 0; answer < 2 && !client.Ended(); ++answer) client.Receive();
    EXPECT_TRUE(client.Ended()) << text;
  }
  EXPECT_EQ(service.Received().at(0).objection, "bytes that are no message");
}

TEST(DecodeServiceTest, NobodyIsServedBehindAFileThatClosesThePort) {
  const idcardreader::TemporaryFolder folder;
  folder.Write("scenario.json", "{}");
  DecodeService service({Resident()}, {}, {.scenarioFile = folder.path / "scenario.json"});
  folder.Write("scenario.json",
               R"({"service": {"faults": [{"at": "connect", "fault": "not-listening"}]}})");
  bool served = false;
  try {
    Client client(service);
    client.Send(ClientTexts::Login() + "\n");
    client.Receive();
    served = !client.Ended();
  } catch (const std::system_error&) {
    // refused
  }
  EXPECT_FALSE(served);
}

TEST(DecodeServiceTest, StoppingEndsEveryConnection) {
  DecodeService service{{Resident()}};
  service.SetScenario(
      ScenarioOf(R"({"service": {"faults": [{"at": "login", "fault": "delay", "ms": 600000}]}})"));
  Client waiting(service);
  waiting.Send(ClientTexts::Login() + "\n");
  ASSERT_TRUE(service.WaitForReceived(1, milliseconds(10000)));
  service.Stop();
  waiting.Receive();
  EXPECT_TRUE(waiting.Ended());
  EXPECT_EQ(service.OpenConnections(), 0);
  service.Stop();
}

}  // namespace
}  // namespace devkit
