#include "service/decode_server_link.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "platform/code_page.h"
#include "platform/wiping.h"
#include "support/logs.h"
#include "support/status_codes.h"
#include "support/text.h"

namespace idcardreader {
namespace {

constexpr char kLinkName[] = "Server";

// Messages end with a line feed, which would tear the log's line in two.
std::string_view WithoutLineEnd(std::string_view text) {
  return text.substr(0, text.find_last_not_of("\r\n") + 1);
}

}  // namespace

DecodeServerLink::DecodeServerLink(platform::SocketApi& sockets, HostNames& hostNames,
                                   platform::Clock& clock, const Dialect& dialect)
    : hostNames(hostNames),
      clock(clock),
      dialect(dialect),
      traceLog(kLinkName, clock),
      wakeEvent(kLinkName),
      transport(sockets) {}

DecodeServerLink::~DecodeServerLink() {
  {
    const std::lock_guard guard(linkLock);
    stop = true;
    currentRead = kNoRead;
  }
  wakeEvent.Set();
  transport.Shutdown();
  if (clientThread != nullptr) {
    clientThread->Join();
  }
}

void DecodeServerLink::SetSetting(LinkSetting setting, std::string_view text) {
  if (setting == LinkSetting::log_switch) {
    traceLog.Switch(std::atoi(std::string(text).c_str()) != 0);
    return;
  }
  const std::lock_guard guard(linkLock);
  settings.Apply(setting, text);
}

bool DecodeServerLink::ServerInit(ReadGeneration generation) {
  {
    const std::lock_guard guard(linkLock);
    if (generation <= lastEndedRead) {
      return false;
    }
    lastEndedRead = generation - 1;
    startedRead = kNoRead;
    currentRead = generation;
    commandQueue.clear();
  }
  traceLog.Log("Server Init Begin");
  transport.Shutdown();
  const std::lock_guard exchangeGuard(exchangeLock);
  {
    const std::lock_guard guard(linkLock);
    events.clear();
    keys.clear();
    failureCode = ERRORT_None;
    failedRead = kNoRead;
  }
  if (!ConnectToEitherServer(generation) || !StartClientThread(generation) ||
      !(initialised || LoadPhotoLibrary())) {
    return false;
  }
  initialised = true;
  traceLog.Log("Server Init End");
  const std::lock_guard guard(linkLock);
  startedRead = generation;
  return true;
}

bool DecodeServerLink::Started(ReadGeneration generation) {
  const std::lock_guard guard(linkLock);
  return startedRead == generation && clientThread != nullptr && clientThread->Running();
}

void DecodeServerLink::EndRead(ReadGeneration generation) {
  const std::lock_guard guard(linkLock);
  lastEndedRead = std::max(lastEndedRead, generation);
  if (currentRead == generation) {
    currentRead = kNoRead;
    commandQueue.clear();
    events.clear();
    keys.clear();
  }
}

bool DecodeServerLink::LoginNeeded() {
  const std::lock_guard guard(linkLock);
  return dialect.NeedsLogin() && !login.loggedIn;
}

void DecodeServerLink::PostCommand(ReadGeneration generation, ServiceCommand command, Block block) {
  {
    const std::lock_guard guard(linkLock);
    if (currentRead != generation || failedRead == generation) {
      return;
    }
    commandQueue.push_back({generation, command, std::move(block)});
  }
  wakeEvent.Set();
}

std::map<ResultItem, std::string> DecodeServerLink::TakeResult(ReadGeneration generation) {
  const std::lock_guard guard(linkLock);
  if (currentRead != generation || events.count(ResultItem::done) == 0) {
    return {};
  }
  return std::exchange(events, {});
}

Block DecodeServerLink::TakeKey(ReadGeneration generation, KeyKind kind) {
  const std::lock_guard guard(linkLock);
  if (currentRead != generation) {
    return {};
  }
  auto taken = keys.extract(kind);
  return taken.empty() ? Block() : std::move(taken.mapped());
}

std::string DecodeServerLink::TakeFailureText() {
  const std::lock_guard guard(linkLock);
  const std::int32_t code = std::exchange(failureCode, ERRORT_None);
  return code == ERRORT_None ? std::string() : std::string(StatusText(code));
}

bool DecodeServerLink::ConnectToEitherServer(ReadGeneration generation) {
  // A read that was stopped meanwhile does not wait for the second server too.
  return InitSocket(1, generation) || (IsCurrent(generation) && InitSocket(2, generation));
}

bool DecodeServerLink::InitSocket(std::size_t mode, ReadGeneration generation) {
  traceLog.Log("InitSocket");
  if (std::exchange(newTransport, false)) {
    traceLog.Log("Socket New");
  }
  traceLog.Log("Socket Close");
  transport.CloseSocket();
  traceLog.Log("Socket Init");
  if (!transport.CreateSocket()) {
    if (mode == 2) {
      traceLog.Log("InitSocket fail!***");
      ReportFailure(generation, ERRORT_SocketInit);
    }
    return false;
  }
  std::uint32_t timeoutMs = 0;
  {
    const std::lock_guard guard(linkLock);
    timeoutMs = settings.SocketTimeout();
  }
  transport.SetSocketOptions(timeoutMs);
  const std::vector<ServerEndpoint> servers = ResolvedServers(generation);
  if (servers.size() < mode) {
    return false;
  }
  const ServerEndpoint& server = servers[mode - 1];
  transport.SetServer(server.host, server.port);
  const bool connected = transport.ConnectServer(Over(generation));
  traceLog.Log("SER " + std::to_string(mode) + (connected ? " sucess" : " fail") + server.host);
  return connected;
}

std::vector<ServerEndpoint> DecodeServerLink::ResolvedServers(ReadGeneration generation) {
  std::vector<ServerEndpoint> configured;
  {
    const std::lock_guard guard(linkLock);
    if (!settings.resolvedServers.empty()) {
      return settings.resolvedServers;
    }
    configured = settings.configuredServers;
  }
  traceLog.Log("Socket DNS Parse");
  if (!configured.empty()) {
    traceLog.Log("Socket DNS Parse 2");
  }
  std::vector<std::string> hosts;
  hosts.reserve(configured.size());
  for (const ServerEndpoint& server : configured) {
    hosts.push_back(server.host);
  }
  const std::vector<std::string> addresses = hostNames.Resolve(hosts, Over(generation));
  std::vector<ServerEndpoint> resolved;
  for (std::size_t index = 0; index < addresses.size(); ++index) {
    if (!addresses[index].empty()) {
      resolved.push_back({addresses[index], configured[index].port});
    }
  }
  const std::lock_guard guard(linkLock);
  if (currentRead != generation) {
    return {};  // not all of them may have been found by then
  }
  if (settings.resolvedServers.empty()) {
    settings.resolvedServers = std::move(resolved);
  }
  return settings.resolvedServers;
}

bool DecodeServerLink::StartClientThread(ReadGeneration generation) {
  bool started = true;
  {
    const std::lock_guard guard(linkLock);
    if (clientThread == nullptr || !clientThread->Running()) {
      clientThread = std::make_unique<platform::CSThread>();
      started = clientThread->Start([this] { RunClient(); });
    }
  }
  if (!started) {
    ReportFailure(generation, ERRORT_ClientThread);
  }
  return started;
}

bool DecodeServerLink::LoadPhotoLibrary() {
  auto library =
      platform::DynamicLibrary::Open(platform::DynamicLibraryFileName("DLL_File"),
                                     platform::DynamicLibrary::Dependencies::default_search);
  if (library != nullptr && library->Symbol("unpack") == nullptr) {
    return false;
  }
  photoLibrary = std::move(library);
  return true;
}

void DecodeServerLink::RunClient() {
  for (;;) {
    wakeEvent.Wait();  // ended by PostCommand and by the destructor
    {
      const std::lock_guard guard(linkLock);
      if (stop) {
        return;
      }
    }
    Command command;
    if (TakeCommand(command)) {
      Perform(command);
      platform::WipeStack();
    }
  }
}

bool DecodeServerLink::TakeCommand(Command& command) {
  const std::lock_guard guard(linkLock);
  if (commandQueue.empty()) {
    return false;
  }
  command = std::move(commandQueue.front());
  commandQueue.pop_front();
  if (!commandQueue.empty()) {
    // Two posts during one exchange signal the event only once.
    wakeEvent.Set();
  }
  return true;
}

void DecodeServerLink::Perform(const Command& command) {
  const std::lock_guard exchangeGuard(exchangeLock);
  ServiceSession session;
  {
    const std::lock_guard guard(linkLock);
    if (currentRead != command.generation || failedRead == command.generation) {
      return;
    }
    session = {settings.identity, login};
  }
  Trace trace;
  if (traceLog.On()) {
    trace = [this](std::string_view text) { traceLog.Log(WithoutLineEnd(text)); };
  }
  File(command.generation,
       PerformExchange(command.command, command.block, dialect, session, transport, clock, trace));
}

void DecodeServerLink::ReportFailure(ReadGeneration generation, std::int32_t code) {
  ExchangeResult result;
  result.failureCode = code;
  File(generation, std::move(result));
}

void DecodeServerLink::File(ReadGeneration generation, ExchangeResult result) {
  if (result.failureCode != ERRORT_None && IsCurrent(generation)) {
    // Logged first: once the failure is filed, the caller may wake and ask for the logged text.
    ErrorLog().Log(std::string(StatusText(result.failureCode)) + "," + result.detail);
    if (!result.answer.empty()) {
      // Some services answer in GBK already.
      ErrorLog().Log(IsValidUtf8(result.answer)
                         ? platform::Utf16ToGbk(platform::Utf8ToUtf16(result.answer))
                         : result.answer);
    }
  }
  const std::lock_guard guard(linkLock);
  if (result.login) {
    login = std::move(*result.login);
  }
  if (currentRead != generation) {
    return;
  }
  if (result.failureCode != ERRORT_None) {
    failedRead = generation;
    failureCode = result.failureCode;
    result.entries = {{ResultItem::fail, "Fail"}, {ResultItem::done, "Done-Server"}};
  }
  for (auto& [item, text] : result.entries) {
    events.try_emplace(item, std::move(text));  // the first value counts
  }
  if (!result.key.empty()) {
    keys.try_emplace(result.keyKind, std::move(result.key));
  }
}

bool DecodeServerLink::IsCurrent(ReadGeneration generation) {
  const std::lock_guard guard(linkLock);
  return currentRead == generation;
}

std::function<bool()> DecodeServerLink::Over(ReadGeneration generation) {
  return [this, generation] { return !IsCurrent(generation); };
}

}  // namespace idcardreader
