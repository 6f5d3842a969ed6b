#pragma once

#include <algorithm>
#include <deque>
#include <string>

#include "base/encoding.h"
#include "base/expect.h"
#include "base/script.h"
#include "platform/socket.h"
#include "service/wire_samples.h"
#include "world/virtual_clock.h"

namespace fuzz {

namespace wire = idcardreader::wire;

// The network and the service behind it. With each connection and each message the script says
// whether they behave. Each connection has a person of its own, so that nobody else's data can pass
// for theirs.
class FuzzedService : public idcardreader::platform::SocketApi {
 public:
  using Handle = idcardreader::platform::SocketHandle;

  FuzzedService(Script& script, VirtualClock& clock) : script(script), clock(clock) {}

  // True when the text is part of what the present connection has carried, or may be.
  bool HasCarried(const std::string& text) const { return carriesNoise || Within(text, contents); }
  // Sockets and starts that were not given back.
  int Left() const { return users + open; }

  Start StartSockets() override {
    constexpr Start kStarts[] = {Start::ok, Start::ok, Start::ok, Start::failed,
                                 Start::wrong_version};
    const Start start = kStarts[script.Choice(std::size(kStarts))];
    if (start == Start::ok) ++users;
    return start;
  }
  void StopSockets() override { --users; }
  Handle CreateTcpSocket() override {
    if (script.Choice(5) == 4) return idcardreader::platform::kInvalidSocket;
    ++open;
    pieces.clear();
    contents.clear();
    uploads = 0;
    shut = carriesNoise = false;
    return ++last;
  }
  void SetTimeouts(Handle, std::uint32_t milliseconds) override { timeoutMs = milliseconds; }
  void SetDontLingerOff(Handle) override {}
  bool SetNonBlocking(Handle, bool) override { return true; }
  bool Connect(Handle, const char*, std::uint16_t) override { return script.Choice(3) != 2; }
  int WaitWritable(Handle, std::uint32_t milliseconds) override {
    const int result = static_cast<int>(script.Choice(3)) - 1;
    if (result == 0) clock.ticks += milliseconds;
    return result;
  }
  int PendingError(Handle) override { return static_cast<int>(script.Choice(2)); }
  void Shutdown(Handle) override { shut = true; }
  void Close(Handle socket) override {
    ExpectOpen(socket);
    --open;
  }
  std::string ResolveHostName(const std::string&) override {
    return script.Choice(3) == 2 ? std::string() : "10.0.0.1";
  }

  int Send(Handle socket, const void* data, std::size_t length) override {
    ExpectOpen(socket);
    if (shut) return -1;
    const std::string message(static_cast<const char*>(data), length);
    const std::size_t choice = script.Choice(12);
    std::string answer;
    switch (choice) {
      case 1:
        return -1;
      case 2:  // silence
        return static_cast<int>(length);
      case 3:  // the connection ends
        break;
      case 5:
        answer = script.LongText();
        break;
      case 6:
      case 7:
        answer = ContentAnswer((choice == 6 ? "" : kDeviceCodeStart) + script.LongText());
        break;
      case 11:
        answer = "{\"code\":\"99\",\"msg\":\"token已过期\"}\n";
        break;
      default:
        answer = GoodAnswer(message);
        break;
    }
    carriesNoise = carriesNoise || choice == 5 || choice == 8;
    if (choice == 4) {  // in two pieces
      pieces.push_back(answer.substr(0, 1 + script.Choice(answer.size())));
      answer.erase(0, pieces.back().size());
      if (answer.empty()) return static_cast<int>(length);
    }
    if (choice == 8) answer[script.Choice(answer.size())] ^= static_cast<char>(script.Byte());
    if (choice == 9) answer.resize(script.Choice(answer.size()));
    if (choice == 10) pieces.push_back(answer);  // twice
    pieces.push_back(std::move(answer));
    return static_cast<int>(length);
  }

  int Receive(Handle socket, void* data, std::size_t capacity) override {
    ExpectOpen(socket);
    // Whatever else happens meanwhile, while this thread is in the system.
    for (std::size_t count = script.Choice(4); count > 0; --count) RunThread(0);
    if (shut) return -1;
    if (pieces.empty()) {
      clock.ticks += timeoutMs;
      return -1;
    }
    std::string& piece = pieces.front();
    const std::size_t count = std::min(capacity, piece.size());
    std::copy_n(piece.begin(), count, static_cast<char*>(data));
    piece.erase(0, count);
    if (piece.empty()) pieces.pop_front();
    return static_cast<int>(count);
  }

 private:
  static constexpr char kDeviceCodeStart[] = R"({"data":"x","dataType":"FIFTH","kind":"INFO",)";

  void ExpectOpen(Handle socket) const {
    Expect(socket == last && open == 1, "what is done to a socket is done to the open one");
  }

  std::string Person() {
    // Just over a photo's size.
    static const std::string image = devkit::ByteArrayText(devkit::Bytes(1025, 0xFF));
    const std::string id = "#" + std::to_string(last) + "#";
    const bool permit = script.Choice(2) == 0;
    std::string person = permit ? R"("type":"gat","gatCard":{)" : R"("type":"iden","idCard":{)";
    for (const char* key : {"name", "sex", "birthday", "id", "issue", "passCheckId"}) {
      person += '"' + std::string(key) + "\":\"" + id + "\",";
    }
    return person + "\"image\":" + (permit ? "[]" : image) + "}";
  }

  std::string ContentAnswer(const std::string& content) {
    contents += content;
    if (Within("\"FIFTH\"", content)) return content;
    std::string answer = R"({"data":")" + devkit::Base64(devkit::Deflate(content)) + "\"}";
    answer.resize(std::max(answer.size(), std::size_t{201}), ' ');  // or it is an acknowledgement
    return answer + "\n";
  }

  std::string GoodAnswer(const std::string& message) {
    const auto says = [&message](const char* word) {
      return Within('"' + std::string(word) + '"', message);
    };
    if (says("login")) return wire::kLoginAnswer;
    if (says("dn2")) return wire::InputKeyAnswer();
    if (says("BBB2")) return wire::OutputKeyAnswer();
    if (says("BB21") || says("BB21_2")) return ContentAnswer("{" + Person() + "}");
    if (says("NULL")) return wire::FirstAnswer(wire::kInputKeyData);
    if (says("FIRST") && ++uploads == 1) return wire::FirstAnswer(wire::kOutputKeyData);
    if (uploads == 5) return ContentAnswer(kDeviceCodeStart + Person() + "}");
    return wire::kAcknowledgement;
  }

  Script& script;
  VirtualClock& clock;
  std::deque<std::string> pieces;  // an empty one is the end of the connection
  std::string contents;
  std::uint32_t timeoutMs = 0;
  Handle last = 0;
  int users = 0;
  int open = 0;
  int uploads = 0;
  bool shut = false;
  bool carriesNoise = false;  // which may be read as anything
};

}  // namespace fuzz
