#include "world/fuzzed_service.h"

#include <algorithm>

#include "base/encoding.h"
#include "base/expect.h"
#include "service/wire_samples.h"
#include "stand_ins/threads.h"

namespace fuzz {
namespace {

namespace wire = idcardreader::wire;

// A shorter one passes for an acknowledgement.
constexpr std::size_t kShortestContentAnswer = 201;

constexpr char kDeviceCodeStart[] = R"({"data":"x","dataType":"FIFTH","kind":"INFO",)";

// Just over a photo's size.
const std::string kImage = devkit::ByteArrayText(devkit::Bytes(1025, 0xFF));

bool HasWord(const std::string& message, const std::string& word) {
  return Within('"' + word + '"', message);
}

}  // namespace

idcardreader::platform::SocketApi::Start FuzzedService::StartSockets() {
  constexpr Start kStarts[] = {Start::ok, Start::ok, Start::ok, Start::failed,
                               Start::wrong_version};
  const Start start = kStarts[script.Choice(std::size(kStarts))];
  if (start == Start::ok) ++users;
  return start;
}

FuzzedService::Handle FuzzedService::CreateTcpSocket() {
  if (script.Choice(5) == 4) return idcardreader::platform::kInvalidSocket;
  ++open;
  pieces.clear();
  contents.clear();
  uploads = 0;
  shut = false;
  carriesNoise = false;
  return ++last;
}

bool FuzzedService::Connect(Handle, const char*, std::uint16_t) { return script.Choice(3) != 2; }

int FuzzedService::WaitWritable(Handle, std::uint32_t milliseconds) {
  const int result = static_cast<int>(script.Choice(3)) - 1;
  if (result == 0) clock.Spend(milliseconds);
  return result;
}

void FuzzedService::Close(Handle socket) {
  Expect(socket == last && open == 1, "the socket that is closed is the open one");
  --open;
}

std::string FuzzedService::ResolveHostName(const std::string&) {
  return script.Choice(3) == 2 ? std::string() : "10.0.0.1";
}

std::string FuzzedService::Person() {
  const std::string id = "#" + std::to_string(last) + "#";
  const bool permit = script.Choice(2) == 0;
  return std::string(permit ? R"("type":"gat","gatCard":{)" : R"("type":"iden","idCard":{)") +
         R"("name":")" + id + R"(","sex":")" + id + R"(","birthday":")" + id + R"(","id":")" + id +
         R"(","issue":")" + id + R"(","passCheckId":")" + id + "\"" +
         (permit ? "" : R"(,"image":)" + kImage) + "}";
}

std::string FuzzedService::ContentAnswer(const std::string& content) {
  contents += content;
  if (HasWord(content, "FIFTH")) return content;
  std::string answer = R"({"data":")" + devkit::Base64(devkit::Deflate(content)) + "\"}";
  answer.resize(std::max(answer.size(), kShortestContentAnswer), ' ');
  return answer + "\n";
}

std::string FuzzedService::GoodAnswer(const std::string& message) {
  if (HasWord(message, "login")) return wire::kLoginAnswer;
  if (HasWord(message, "dn2")) return wire::InputKeyAnswer();
  if (HasWord(message, "BBB2")) return wire::OutputKeyAnswer();
  if (HasWord(message, "BB21") || HasWord(message, "BB21_2")) {
    return ContentAnswer("{" + Person() + "}");
  }
  if (HasWord(message, "NULL")) return wire::FirstAnswer(wire::kInputKeyData);
  if (HasWord(message, "FIRST") && ++uploads == 1) return wire::FirstAnswer(wire::kOutputKeyData);
  if (uploads == 5) {
    return ContentAnswer(kDeviceCodeStart + Person() + "}");
  }
  return wire::kAcknowledgement;
}

int FuzzedService::Send(Handle socket, const void* data, std::size_t length) {
  Expect(socket == last && open == 1, "what is sent goes to the open socket");
  const std::string message(static_cast<const char*>(data), length);
  if (shut) return -1;
  std::string answer;
  switch (script.Choice(12)) {
    case 1:
      return -1;
    case 2:  // silence
      return static_cast<int>(length);
    case 3:  // the connection ends
      break;
    case 4:  // in two pieces
      answer = GoodAnswer(message);
      pieces.push_back(answer.substr(0, 1 + script.Choice(answer.size())));
      answer.erase(0, pieces.back().size());
      if (answer.empty()) return static_cast<int>(length);
      break;
    case 5:
      carriesNoise = true;
      answer = script.LongText();
      break;
    case 6:
      answer = ContentAnswer(script.LongText());
      break;
    case 7:
      answer = ContentAnswer(kDeviceCodeStart + script.LongText());
      break;
    case 8:
      carriesNoise = true;
      answer = GoodAnswer(message);
      answer[script.Choice(answer.size())] ^= static_cast<char>(script.Byte());
      break;
    case 9:
      answer = GoodAnswer(message);
      answer.resize(script.Choice(answer.size()));
      break;
    case 10:  // twice
      pieces.push_back(GoodAnswer(message));
      answer = GoodAnswer(message);
      break;
    case 11:
      answer = "{\"code\":\"99\",\"msg\":\"token已过期\"}\n";
      break;
    default:
      answer = GoodAnswer(message);
      break;
  }
  pieces.push_back(std::move(answer));
  return static_cast<int>(length);
}

int FuzzedService::Receive(Handle socket, void* data, std::size_t capacity) {
  Expect(socket == last && open == 1, "what is received comes from the open socket");
  // Whatever else happens meanwhile, while this thread is in the system.
  for (std::size_t count = script.Choice(4); count > 0; --count) RunThread(0);
  if (shut) return -1;
  if (pieces.empty()) {
    clock.Spend(timeoutMs);
    return -1;
  }
  std::string& piece = pieces.front();
  const std::size_t count = std::min(capacity, piece.size());
  std::copy_n(piece.begin(), count, static_cast<char*>(data));
  piece.erase(0, count);
  if (piece.empty()) pieces.pop_front();
  return static_cast<int>(count);
}

}  // namespace fuzz
