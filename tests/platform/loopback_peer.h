#pragma once

#include <asio.hpp>
#include <cstdint>
#include <string>

namespace idcardreader::platform {

// The other end of a connection on this machine: listens on a port that the system picks. It is
// made of another library, so that a mistake in the sockets under test cannot cancel itself.
class LoopbackPeer {
 public:
  LoopbackPeer() : acceptor(context, {asio::ip::address_v4::loopback(), 0}), connection(context) {}

  std::uint16_t Port() const { return acceptor.local_endpoint().port(); }
  void Accept() { acceptor.accept(connection); }
  void StopListening() { acceptor.close(); }
  void Send(const std::string& bytes) { asio::write(connection, asio::buffer(bytes)); }
  // Everything up to the end of the connection, and how that came.
  std::string ReceiveToEnd(asio::error_code& end) {
    std::string bytes;
    asio::read(connection, asio::dynamic_buffer(bytes), end);
    return bytes;
  }
  std::string Receive(std::size_t count) {
    std::string bytes(count, '\0');
    asio::read(connection, asio::buffer(bytes));
    return bytes;
  }
  void Close() { connection.close(); }

 private:
  asio::io_context context;
  asio::ip::tcp::acceptor acceptor;
  asio::ip::tcp::socket connection;
};

}  // namespace idcardreader::platform
