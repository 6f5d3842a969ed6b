#pragma once

#include <array>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "base/asio.h"
#include "decode_service/answer_plan.h"
#include "decode_service/message_splitter.h"
#include "decode_service/service_state.h"
#include "decode_service/session.h"

namespace devkit {

// One client on the line. It lives as long as something is under way on it.
class ClientConnection : public std::enable_shared_from_this<ClientConnection> {
 public:
  ClientConnection(ServiceState& state, asio::ip::tcp::socket socket);
  ~ClientConnection();
  ClientConnection(const ClientConnection&) = delete;
  ClientConnection& operator=(const ClientConnection&) = delete;

  void Start();
  void End(LineStep::Then how);

 private:
  struct Message {
    std::string text;
    bool lineFeed;
  };

  void Read();
  void Arrived(std::error_code error, std::size_t count);
  bool TakePiece(MessageSplitter::Piece piece);
  void HandleNext();
  void PlayNext();
  void Play();
  void Log(const std::string& line) const;
  void Tell(ServiceEvent event) const;
  void TellAnswered();

  ServiceState& state;
  asio::ip::tcp::socket socket;
  asio::steady_timer timer;
  int number = 0;
  Session session;
  MessageSplitter splitter;
  std::array<char, 16384> input{};
  std::string waiting;  // an object whose line feed has not come yet
  std::deque<Message> messages;
  std::vector<LineStep> plan;  // of the answer that is being played
  std::size_t planned = 0;
  ServiceEvent answering;  // what is told of that answer's message
  std::size_t acknowledgementBytes = 0;
  std::chrono::steady_clock::time_point arrival;
  bool busy = false;    // an answer is being played
  bool silent = false;  // accepted, and never answered
};

}  // namespace devkit
