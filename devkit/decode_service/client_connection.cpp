#include "decode_service/client_connection.h"

#include <algorithm>
#include <utility>

namespace devkit {

using asio::ip::tcp;

ClientConnection::ClientConnection(ServiceState& serviceState, tcp::socket connected)
    : state(serviceState),
      socket(std::move(connected)),
      timer(socket.get_executor()),
      session(state.registry, state.options.encoding) {
  const std::lock_guard lock(state.mutex);
  number = ++state.connectionCount;
  state.connections.push_back(this);
}

ClientConnection::~ClientConnection() {
  const std::lock_guard lock(state.mutex);
  std::erase(state.connections, this);
}

void ClientConnection::Start() {
  std::error_code ignored;
  socket.set_option(tcp::no_delay(true), ignored);
  std::optional<Fault> fault;
  {
    const std::lock_guard lock(state.mutex);
    if (const Fault* next = state.registry.NextFault("connect", nullptr)) fault = *next;
  }
  Log("connected");
  Tell({ServiceEvent::Kind::connected});
  if (!fault) return Read();
  if (fault->kind == FaultKind::drop) {
    silent = true;
    return Read();
  }
  timer.expires_after(fault->Time("ms"));
  timer.async_wait([self = shared_from_this(), kind = fault->kind](std::error_code error) {
    if (error) return;
    if (kind == FaultKind::delay) return self->Read();
    self->End(kind == FaultKind::reset ? LineStep::Then::reset : LineStep::Then::close);
  });
}

void ClientConnection::End(LineStep::Then how) {
  std::error_code ignored;
  if (how == LineStep::Then::reset) {
    socket.set_option(asio::socket_base::linger(true, 0), ignored);
  }
  timer.cancel();
  if (socket.is_open()) {
    if (busy) TellAnswered();
    Tell({ServiceEvent::Kind::closed});
  }
  socket.close(ignored);
}

void ClientConnection::Read() {
  socket.async_read_some(asio::buffer(input),
                         [self = shared_from_this()](std::error_code error, std::size_t count) {
                           self->Arrived(error, count);
                         });
}

void ClientConnection::Arrived(std::error_code error, std::size_t count) {
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
bool ClientConnection::TakePiece(MessageSplitter::Piece piece) {
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
  ReceivedMessage message;
  message.connection = number;
  message.text = lineFeedMissing ? waiting : piece.text;
  message.objection = lineFeedMissing                 ? "a line feed is missing"
                      : piece.kind == Kind::line_feed ? "a line feed where none belongs"
                                                      : "bytes that are no message";
  Log(message.objection);
  const std::lock_guard lock(state.mutex);
  state.Remember(std::move(message));
  return false;
}

void ClientConnection::HandleNext() {
  if (busy || messages.empty()) return;
  busy = true;
  const Message message = std::move(messages.front());
  messages.pop_front();
  Reply reply;
  {
    const std::lock_guard lock(state.mutex);
    reply = session.Handle(message.text);
    state.Remember({number, message.text, message.lineFeed, reply.exchange, reply.card,
                    reply.accepted, reply.objection});
  }
  Log((reply.exchange.empty() ? "message" : reply.exchange) +
      (reply.card.empty() ? "" : " of " + reply.card) + ": " +
      (reply.accepted ? "accepted" : "refused, " + reply.objection) +
      (reply.fault ? ", spoiled as the scenario says" : ""));
  if (state.options.logTexts) {
    Log("  < " + message.text);
    Log("  > " + reply.answer);
  }
  answering = {ServiceEvent::Kind::arrived, number, reply.exchange, reply.card, reply.objection,
               reply.fault.has_value()};
  acknowledgementBytes = reply.acknowledgement.size();
  arrival = std::chrono::steady_clock::now();
  Tell(answering);
  plan = PlanAnswer(reply);
  planned = 0;
  PlayNext();
}

void ClientConnection::PlayNext() {
  if (planned == plan.size()) {
    TellAnswered();
    return HandleNext();
  }
  if (plan[planned].pause.count() == 0) return Play();
  timer.expires_after(plan[planned].pause);
  timer.async_wait([self = shared_from_this()](std::error_code error) {
    if (!error) self->Play();
  });
}

void ClientConnection::Play() {
  const LineStep& step = plan[planned++];
  answering.bytes += step.bytes.size();
  if (step.then != LineStep::Then::go_on) {
    // Both in one go: the client must find the connection gone as soon as it has the answer.
    std::error_code ignored;
    if (!step.bytes.empty()) asio::write(socket, asio::buffer(step.bytes), ignored);
    return End(step.then);
  }
  asio::async_write(socket, asio::buffer(step.bytes),
                    [self = shared_from_this()](std::error_code error, std::size_t) {
                      if (!error) self->PlayNext();
                    });
}

void ClientConnection::Log(const std::string& line) const {
  state.Log("connection " + std::to_string(number) + ": " + line);
}

void ClientConnection::Tell(ServiceEvent event) const {
  event.connection = number;
  if (state.options.observer) state.options.observer(event);
}

void ClientConnection::TellAnswered() {
  answering.kind = ServiceEvent::Kind::answered;
  answering.milliseconds =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - arrival).count();
  answering.bytes -= std::min(answering.bytes, acknowledgementBytes);
  Tell(answering);
  busy = false;
}

}  // namespace devkit
