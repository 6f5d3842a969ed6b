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
#include "support/eventually.h"

namespace idcardreader {

// Stands in for the network: keeps what is sent, answers from a list, notes every other call. A
// test sets it up before the code under test uses it.
class ScriptedSockets : public platform::SocketApi {
 public:
  using Handle = platform::SocketHandle;
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
  // False when so many never come.
  [[nodiscard]] bool AwaitSent(std::size_t count) {
    return Eventually([this, count] { return Sent().size() >= count; });
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

  // --- SocketApi ---
  Start StartSockets() override {
    Note("start");
    return start;
  }
  void StopSockets() override { Note("stop"); }
  Handle CreateTcpSocket() override {
    if (!creates) return platform::kInvalidSocket;
    Note("create", ++lastHandle);
    const std::lock_guard guard(mutex);
    open = true;
    return lastHandle;
  }
  void SetTimeouts(Handle socket, std::uint32_t milliseconds) override {
    Note("timeouts", socket, " " + std::to_string(milliseconds));
  }
  void SetDontLingerOff(Handle socket) override { Note("dontlinger", socket); }
  bool SetNonBlocking(Handle, bool) override { return true; }
  bool Connect(Handle, const char* address, std::uint16_t port) override {
    Note("connect " + std::string(address) + ":" + std::to_string(port));
    connecting = servers.count(port) == 0 ? Server{} : servers[port];
    return connecting.atOnce;
  }
  int WaitWritable(Handle socket, std::uint32_t milliseconds) override {
    Note("wait", socket, " " + std::to_string(milliseconds));
    if (onConnectWait) onConnectWait();
    return connecting.writable;
  }
  int PendingError(Handle) override { return connecting.error; }
  int Send(Handle, const void* data, std::size_t length) override {
    const std::string message(static_cast<const char*>(data), length);
    {
      const std::lock_guard guard(mutex);
      sent.push_back(message);
    }
    if (onSend) onSend(message);
    return static_cast<int>(length);
  }
  int Receive(Handle, void* data, std::size_t capacity) override {
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
  void Shutdown(Handle socket) override {
    Note("shutdown", socket);
    const std::lock_guard guard(mutex);
    open = false;
    change.NotifyAll();
  }
  void Close(Handle socket) override { Note("close", socket); }
  std::string ResolveHostName(const std::string& name) override {
    const std::string address = names.count(name) == 0 ? "" : names[name];
    // A thread that is left behind in here outlives this object.
    const auto heard = silentNames.count(name) != 0 ? silence : std::make_shared<Silence>(true);
    Note("resolve " + name);
    const std::lock_guard guard(heard->mutex);
    while (!heard->over) heard->change.Wait(heard->mutex);
    return address;
  }

 private:
  struct Silence {
    explicit Silence(bool over) : over(over) {}
    bool over;
    platform::CSMutex mutex;
    platform::Condition change;
  };

  void Note(const std::string& call, Handle socket = 0, const std::string& detail = {}) {
    const std::lock_guard guard(mutex);
    calls.push_back(call + (socket == 0 ? "" : " " + std::to_string(socket)) + detail);
  }

  platform::CSMutex mutex;
  platform::Condition change;
  std::deque<std::string> answers;
  std::vector<std::string> sent;
  std::vector<std::string> calls;
  Server connecting;
  const std::shared_ptr<Silence> silence = std::make_shared<Silence>(false);
  Handle lastHandle = 10;
  bool open = false;
};

}  // namespace idcardreader
