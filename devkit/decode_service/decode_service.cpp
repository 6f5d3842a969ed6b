#include "decode_service/decode_service.h"

#include <array>
#include <asio.hpp>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>
#include <thread>

#include "base/json_file.h"
#include "decode_service/answer_plan.h"
#include "decode_service/message_splitter.h"
#include "decode_service/registry.h"

namespace devkit {

using asio::ip::tcp;

struct DecodeService::Impl {
  class Connection;

  Impl(std::vector<Card> cards, Scenario scenario, ServiceOptions serviceOptions);

  void Accept();
  void CloseAll();
  void LookAtScenarioFile();
  void Remember(ReceivedMessage message);
  void Log(const std::string& line) const {
    if (options.log) options.log(line);
  }

  const ServiceOptions options;
  asio::io_context context;
  tcp::acceptor acceptor;
  std::uint16_t port = 0;
  std::thread thread;

  mutable std::mutex mutex;  // guards all below
  mutable std::condition_variable grown;
  Registry registry;
  std::string scenarioText;  // of the scenario file as it was last taken over
  std::deque<ReceivedMessage> received;
  std::size_t receivedCount = 0;
  int connectionCount = 0;
  std::set<Connection*> connections;
};

class DecodeService::Impl::Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(Impl& serviceImpl, tcp::socket connected, int connectionNumber)
      : impl(serviceImpl),
        socket(std::move(connected)),
        timer(impl.context),
        number(connectionNumber),
        session(impl.registry, impl.options.encoding) {
    const std::lock_guard lock(impl.mutex);
    impl.connections.insert(this);
  }
  ~Connection() {
    const std::lock_guard lock(impl.mutex);
    impl.connections.erase(this);
  }

  void Start() {
    std::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    std::optional<Fault> fault;
    {
      const std::lock_guard lock(impl.mutex);
      if (const Fault* next = impl.registry.NextFault("connect", nullptr)) fault = *next;
    }
    Log("connected");
    if (!fault) return Read();
    switch (fault->kind) {
      case FaultKind::close:
        return End(LineStep::Then::close);
      case FaultKind::reset:
        return End(LineStep::Then::reset);
      case FaultKind::drop:
        silent = true;
        return Read();
      default:
        break;
    }
    timer.expires_after(fault->Time("ms"));
    timer.async_wait([self = shared_from_this()](std::error_code error) {
      if (!error) self->Read();
    });
  }

  void End(LineStep::Then how) {
    std::error_code ignored;
    if (how == LineStep::Then::reset) {
      socket.set_option(asio::socket_base::linger(true, 0), ignored);
    }
    timer.cancel();
    socket.close(ignored);
  }

 private:
  void Read() {
    socket.async_read_some(asio::buffer(input),
                           [self = shared_from_this()](std::error_code error, std::size_t count) {
                             self->Arrived(error, count);
                           });
  }

  void Arrived(std::error_code error, std::size_t count) {
    if (error) {
      if (!waiting.empty()) Log("a message without its line feed: " + waiting);
      Log("closed by the client");
      return End(LineStep::Then::close);
    }
    if (!silent) {
      for (MessageSplitter::Piece& piece : splitter.Feed({input.data(), count})) {
        if (!TakePiece(std::move(piece))) return End(LineStep::Then::close);
      }
      HandleNext();
    }
    Read();
  }

  // False for something that no client sends.
  bool TakePiece(MessageSplitter::Piece piece) {
    using Kind = MessageSplitter::Piece::Kind;
    const bool lineFeedMissing = !waiting.empty();
    if (piece.kind == Kind::line_feed && lineFeedMissing) {
      messages.push_back({std::exchange(waiting, std::string()), true});
      return true;
    }
    if (piece.kind == Kind::object && !lineFeedMissing) {
      if (EndsWithLineFeed(piece.text)) {
        waiting = std::move(piece.text);
      } else {
        messages.push_back({std::move(piece.text), false});
      }
      return true;
    }
    std::string objection = lineFeedMissing                 ? "a line feed is missing"
                            : piece.kind == Kind::line_feed ? "a line feed where none belongs"
                                                            : "bytes that are no message";
    Log(objection);
    const std::lock_guard lock(impl.mutex);
    ReceivedMessage message;
    message.connection = number;
    message.text = lineFeedMissing ? waiting : piece.text;
    message.objection = std::move(objection);
    impl.Remember(std::move(message));
    return false;
  }

  void HandleNext() {
    if (busy || messages.empty()) return;
    busy = true;
    const Message message = std::move(messages.front());
    messages.pop_front();
    Reply reply;
    {
      const std::lock_guard lock(impl.mutex);
      reply = session.Handle(message.text);
      impl.Remember({number, message.text, message.lineFeed, reply.exchange, reply.card,
                     reply.accepted, reply.objection});
    }
    Log((reply.exchange.empty() ? "message" : reply.exchange) +
        (reply.card.empty() ? "" : " of " + reply.card) + ": " +
        (reply.accepted ? "accepted" : "refused, " + reply.objection) +
        (reply.fault ? ", spoiled as the scenario says" : ""));
    if (impl.options.logTexts) {
      Log("  < " + message.text);
      Log("  > " + reply.answer);
    }
    plan = PlanAnswer(reply);
    planned = 0;
    PlayNext();
  }

  void PlayNext() {
    if (planned == plan.size()) {
      busy = false;
      return HandleNext();
    }
    if (plan[planned].pause.count() == 0) return Play();
    timer.expires_after(plan[planned].pause);
    timer.async_wait([self = shared_from_this()](std::error_code error) {
      if (!error) self->Play();
    });
  }

  void Play() {
    const LineStep& step = plan[planned++];
    if (step.then != LineStep::Then::go_on) return End(step.then);
    asio::async_write(socket, asio::buffer(step.bytes),
                      [self = shared_from_this()](std::error_code error, std::size_t) {
                        if (!error) self->PlayNext();
                      });
  }

  void Log(const std::string& line) const {
    impl.Log("connection " + std::to_string(number) + ": " + line);
  }

  struct Message {
    std::string text;
    bool lineFeed;
  };

  Impl& impl;
  tcp::socket socket;
  asio::steady_timer timer;
  const int number;
  Session session;
  MessageSplitter splitter;
  std::array<char, 16384> input{};
  std::string waiting;  // an object whose line feed has not come yet
  std::deque<Message> messages;
  std::vector<LineStep> plan;
  std::size_t planned = 0;
  bool busy = false;    // an answer is being played
  bool silent = false;  // accepted, and never answered
};

DecodeService::Impl::Impl(std::vector<Card> cards, Scenario scenario, ServiceOptions serviceOptions)
    : options(std::move(serviceOptions)),
      acceptor(context),
      registry(std::move(cards), std::move(scenario)) {
  const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), options.port);
  acceptor.open(endpoint.protocol());
#if !defined(ASIO_WINDOWS)
  // Lets the service start again on the port it had. On Windows the option would let two services
  // share one port instead.
  acceptor.set_option(tcp::acceptor::reuse_address(true));
#endif
  acceptor.bind(endpoint);
  acceptor.listen();
  port = acceptor.local_endpoint().port();
}

void DecodeService::Impl::Accept() {
  acceptor.async_accept([this](std::error_code error, tcp::socket socket) {
    if (!acceptor.is_open()) return;
    if (!error) {
      LookAtScenarioFile();
      int number = 0;
      {
        const std::lock_guard lock(mutex);
        number = ++connectionCount;
      }
      std::make_shared<Connection>(*this, std::move(socket), number)->Start();
    }
    Accept();
  });
}

void DecodeService::Impl::CloseAll() {
  std::error_code ignored;
  acceptor.close(ignored);
  std::vector<std::shared_ptr<Connection>> open;
  {
    const std::lock_guard lock(mutex);
    for (Connection* connection : connections) open.push_back(connection->shared_from_this());
  }
  for (const auto& connection : open) connection->End(LineStep::Then::close);
}

void DecodeService::Impl::LookAtScenarioFile() {
  if (options.scenarioFile.empty()) return;
  const std::optional<std::string> text = ReadTextFile(options.scenarioFile);
  const std::lock_guard lock(mutex);
  if (!text || *text == scenarioText) return;
  try {
    const std::string where = PathText(options.scenarioFile);
    registry.SetScenario(ParseScenario(ParseJsonText(*text, where), where));
    Log("the scenario was read again");
  } catch (const std::exception& error) {
    Log(error.what());
  }
  scenarioText = *text;
}

void DecodeService::Impl::Remember(ReceivedMessage message) {
  received.push_back(std::move(message));
  ++receivedCount;
  if (received.size() > options.rememberedMessages) received.pop_front();
  grown.notify_all();
}

DecodeService::DecodeService(std::vector<Card> cards, Scenario scenario, ServiceOptions options)
    : impl(std::make_unique<Impl>(std::move(cards), std::move(scenario), std::move(options))) {
  if (!impl->options.scenarioFile.empty()) {
    impl->scenarioText = ReadTextFile(impl->options.scenarioFile).value_or("");
    const std::string where = PathText(impl->options.scenarioFile);
    impl->registry.SetScenario(ParseScenario(ParseJsonText(impl->scenarioText, where), where));
  }
  impl->Accept();
  impl->thread = std::thread([this] { impl->context.run(); });
}

DecodeService::~DecodeService() { Stop(); }

std::uint16_t DecodeService::Port() const { return impl->port; }

void DecodeService::SetScenario(Scenario scenario) {
  const std::lock_guard lock(impl->mutex);
  impl->registry.SetScenario(std::move(scenario));
}

void DecodeService::SetCards(std::vector<Card> cards) {
  const std::lock_guard lock(impl->mutex);
  impl->registry.SetCards(std::move(cards));
}

void DecodeService::ExpireAllTokens() {
  const std::lock_guard lock(impl->mutex);
  impl->registry.ExpireAllTokens();
}

void DecodeService::Stop() {
  if (!impl->thread.joinable()) return;
  // The context runs out of work when the acceptor and every connection are closed.
  asio::post(impl->context, [this] { impl->CloseAll(); });
  impl->thread.join();
}

std::vector<ReceivedMessage> DecodeService::Received() const {
  const std::lock_guard lock(impl->mutex);
  return {impl->received.begin(), impl->received.end()};
}

void DecodeService::ForgetReceived() {
  const std::lock_guard lock(impl->mutex);
  impl->received.clear();
  impl->receivedCount = 0;
}

bool DecodeService::WaitForReceived(std::size_t count, std::chrono::milliseconds limit) const {
  std::unique_lock lock(impl->mutex);
  return impl->grown.wait_for(lock, limit, [&] { return impl->receivedCount >= count; });
}

int DecodeService::ConnectionsSoFar() const {
  const std::lock_guard lock(impl->mutex);
  return impl->connectionCount;
}

int DecodeService::OpenConnections() const {
  const std::lock_guard lock(impl->mutex);
  return static_cast<int>(impl->connections.size());
}

}  // namespace devkit
