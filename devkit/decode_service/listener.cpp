#include "decode_service/listener.h"

#include <thread>

namespace devkit {
namespace {

// A port that was closed while a client was awaited may be in use for a moment longer.
constexpr int kBindAttempts = 200;
constexpr std::chrono::milliseconds kBindPause(10);

}  // namespace

using asio::ip::tcp;

Listener::Listener(asio::io_context& ioContext, std::uint16_t wantedPort, OnAccept acceptHandler)
    : context(ioContext),
      acceptor(ioContext),
      onAccept(std::move(acceptHandler)),
      port(wantedPort) {
  Bind();
  acceptor.listen();
  Accept();
}

void Listener::SetMode(Mode newMode) {
  if (newMode == mode) return;
  const bool boundOnly = mode == Mode::refusing;
  if (!boundOnly) {
    Close();
    Rebind();
  }
  mode = newMode;
  switch (mode) {
    case Mode::open:
      acceptor.listen();
      Accept();
      break;
    case Mode::refusing:
      break;
    case Mode::unanswered:
      acceptor.listen(0);
      FillQueue();
      break;
  }
}

void Listener::Close() {
  ++generation;
  fillers.clear();
  std::error_code ignored;
  acceptor.close(ignored);
}

void Listener::Bind() {
  const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
  acceptor.open(endpoint.protocol());
#if !defined(ASIO_WINDOWS)
  // Lets the service start again on the port it had. On Windows the option would let two services
  // share one port instead.
  acceptor.set_option(tcp::acceptor::reuse_address(true));
#endif
  acceptor.bind(endpoint);
  port = acceptor.local_endpoint().port();
}

void Listener::Rebind() {
  for (int attempt = 1;; ++attempt) {
    try {
      Bind();
      return;
    } catch (const std::system_error&) {
      if (attempt == kBindAttempts) throw;
    }
    Close();
    std::this_thread::sleep_for(kBindPause);
  }
}

void Listener::Accept() {
  acceptor.async_accept([this, mine = generation](std::error_code error, tcp::socket socket) {
    if (mine != generation) return;
    if (!error) onAccept(std::move(socket));
    Accept();
  });
}

// The system keeps one connection for a queue of length 0; a second one makes sure.
void Listener::FillQueue() {
  for (int i = 0; i < 2; ++i) {
    tcp::socket& filler = fillers.emplace_back(context);
    filler.async_connect({asio::ip::address_v4::loopback(), port}, [](std::error_code) {});
  }
}

}  // namespace devkit
