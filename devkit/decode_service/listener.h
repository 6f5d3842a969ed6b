#pragma once

#include <cstdint>
#include <functional>
#include <list>

#include "base/asio.h"

namespace devkit {

// The port of the service, and what a client meets there. All members run on the context's thread
// once it runs.
class Listener {
 public:
  using OnAccept = std::function<void(asio::ip::tcp::socket)>;

  enum class Mode {
    open,
    refusing,    // the port is held, but a client that connects is refused
    unanswered,  // a client that connects hears nothing: the queue of connections is full
  };

  // Throws std::system_error when the port cannot be had; 0 takes any free one.
  Listener(asio::io_context& context, std::uint16_t port, OnAccept onAccept);

  std::uint16_t Port() const { return port; }
  // Keeps the port. Throws std::system_error when somebody else took it meanwhile.
  void SetMode(Mode mode);
  void Close();

 private:
  void Bind();
  void Rebind();
  void Accept();
  void FillQueue();

  asio::io_context& context;
  asio::ip::tcp::acceptor acceptor;
  std::list<asio::ip::tcp::socket> fillers;  // connections of our own that nobody accepts
  OnAccept onAccept;
  std::uint16_t port;
  Mode mode = Mode::open;
  unsigned generation = 0;  // of the acceptor's socket: an accept of an older one is over
};

}  // namespace devkit
