#pragma once

#include <algorithm>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/mutex.h"
#include "platform/socket.h"
#include "platform/threads.h"
#include "support/eventually.h"

namespace idcardreader {

// Stands in for the network: keeps what is sent, answers from a list, notes every other call. A
// test sets it up before the code under test uses it; the members are then for the two callbacks'
// threads, and read by the test when an event has told that they are done.
class ScriptedSockets : public platform::SocketApi {
 public:
  struct Server {
    bool atOnce = true;
    int writable = 0;
    int error = 0;
  };

  // --- the script ---
  Start start = Start::ok;
  bool creates = true;
  std::map<std::uint16_t, Server> servers;  // by port; all others accept at once
  std::map<std::string, std::string> names;
  std::set<std::string> silentNames;  // their look-ups hang until EndSilence
  int sendResult = 0;                 // other than 0: what each Send yields
  // Called with each message, outside the lock; may add answers.
  std::function<void(const std::string& message)> onSend;
  bool blockWithoutAnswer = false;  // until Shutdown; else the time runs out at once
  std::function<void()> onConnectWait;

  ~ScriptedSockets() override { EndSilence(); }
  void EndSilence() {
    const std::lock_guard guard(silence->mutex);
    silence->over = true;
    silence->change.NotifyAll();
  }

  // An empty answer stands for the peer's end of the connection.
  void Answer(std::string bytes) {
    const std::lock_guard guard(mutex);
    answers.push_back(std::move(bytes));
    change.NotifyAll();
  }

  // --- what happened ---
  std::vector<std::string> Sent() {
    const std::lock_guard guard(mutex);
    return sent;
  }
  // The calls that begin so and were not taken yet, in one text.
  std::string TakeCalls(const char* first) {
    const std::lock_guard guard(mutex);
    std::string taken;
    std::erase_if(calls, [&](const std::string& call) {
      if (!call.starts_with(first)) return false;
      taken += call + "; ";
      return true;
    });
    return taken;
  }
  std::size_t AnswersLeft() {
    const std::lock_guard guard(mutex);
    return answers.size();
  }
  // False when so many never come.
  [[nodiscard]] bool AwaitSent(std::size_t count) {
    return Eventually([this, count] { return Sent().size() >= count; });
  }

  // --- SocketApi ---
  Start StartSockets() override {
    Note("start");
    return start;
  }
  void StopSockets() override { Note("stop"); }
  platform::SocketHandle CreateTcpSocket() override {
    if (!creates) return platform::kInvalidSocket;
    Note("create", ++lastHandle);
    const std::lock_guard guard(mutex);
    open = true;
    return lastHandle;
  }
  void SetTimeouts(platform::SocketHandle socket, std::uint32_t milliseconds) override {
    Note("timeouts", socket, " " + std::to_string(milliseconds));
  }
  void SetDontLingerOff(platform::SocketHandle socket) override { Note("dontlinger", socket); }
  bool SetNonBlocking(platform::SocketHandle socket, bool on) override {
    Note(on ? "nonblocking" : "blocking", socket);
    return true;
  }
  bool Connect(platform::SocketHandle, const char* address, std::uint16_t port) override {
    Note("connect " + std::string(address) + ":" + std::to_string(port));
    connecting = servers.count(port) == 0 ? Server{} : servers[port];
    return connecting.atOnce;
  }
  int WaitWritable(platform::SocketHandle socket, std::uint32_t milliseconds) override {
    Note("wait", socket, " " + std::to_string(milliseconds));
    if (onConnectWait) onConnectWait();
    return connecting.writable;
  }
  int PendingError(platform::SocketHandle) override { return connecting.error; }
  int Send(platform::SocketHandle, const void* data, std::size_t length) override {
    const std::string message(static_cast<const char*>(data), length);
    {
      const std::lock_guard guard(mutex);
      sent.push_back(message);
      change.NotifyAll();
    }
    if (onSend) onSend(message);
    return sendResult != 0 ? sendResult : static_cast<int>(length);
  }
  int Receive(platform::SocketHandle, void* data, std::size_t capacity) override {
    const std::lock_guard guard(mutex);
    while (answers.empty() && blockWithoutAnswer && open) change.Wait(mutex);
    if (answers.empty()) return -1;
    std::string& answer = answers.front();
    const std::size_t count = std::min(capacity, answer.size());
    std::memcpy(data, answer.data(), count);
    answer.erase(0, count);
    if (answer.empty()) answers.pop_front();
    return static_cast<int>(count);
  }
  void Shutdown(platform::SocketHandle socket) override {
    Note("shutdown", socket);
    const std::lock_guard guard(mutex);
    open = false;
    change.NotifyAll();
  }
  void Close(platform::SocketHandle socket) override { Note("close", socket); }
  std::string ResolveHostName(const std::string& name) override {
    const auto known = names.find(name);
    std::string address = known == names.end() ? std::string() : known->second;
    // A thread that is left behind in here outlives this object.
    const auto heard = silentNames.count(name) != 0 ? silence : nullptr;
    Note("resolve " + name);
    if (heard == nullptr) return address;
    const std::lock_guard guard(heard->mutex);
    while (!heard->over) heard->change.Wait(heard->mutex);
    return address;
  }

 private:
  struct Silence {
    platform::CSMutex mutex;
    platform::Condition change;
    bool over = false;
  };

  void Note(const std::string& call, platform::SocketHandle socket = 0,
            const std::string& detail = {}) {
    const std::lock_guard guard(mutex);
    calls.push_back(call + (socket == 0 ? "" : " " + std::to_string(socket)) + detail);
  }

  platform::CSMutex mutex;
  platform::Condition change;
  std::deque<std::string> answers;
  std::vector<std::string> sent;
  std::vector<std::string> calls;
  Server connecting;
  const std::shared_ptr<Silence> silence = std::make_shared<Silence>();
  platform::SocketHandle lastHandle = 10;
  bool open = false;
};

}  // namespace idcardreader
