#include "service/decode_server_link.h"

#include <algorithm>
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
    read = {};
  }
  wakeEvent.Set();
  transport.Shutdown();
  if (clientThread != nullptr) {
    clientThread->Join();
  }
}

bool DecodeServerLink::ServerInit(ReadGeneration generation, const ServiceSettings& settings) {
  {
    const std::lock_guard guard(linkLock);
    if (generation <= lastEndedRead) {
      return false;
    }
    lastEndedRead = generation - 1;
    identity = settings.identity;
    read = {generation};
    failureCode = ERRORT_None;
  }
  traceLog.Log("Server Init Begin");
  transport.Shutdown();
  const std::lock_guard exchangeGuard(exchangeLock);
  // A read that was stopped meanwhile does not wait for the second server too.
  if (!InitSocket(1, generation, settings) &&
      !(IsCurrent(generation) && InitSocket(2, generation, settings))) {
    return false;
  }
  if (!StartClientThread()) {
    File(generation, {ERRORT_ClientThread});
    return false;
  }
  if (!photoLibrary && !LoadPhotoLibrary()) {
    return false;
  }
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
  if (read.generation == generation) {
    read = {};
  }
}

bool DecodeServerLink::LoginNeeded() {
  const std::lock_guard guard(linkLock);
  return dialect.NeedsLogin() && token.empty();
}

void DecodeServerLink::PostCommand(ReadGeneration generation, ServiceCommand command, Block block) {
  {
    const std::lock_guard guard(linkLock);
    if (read.generation != generation || read.failed) {
      return;
    }
    read.commands.push_back({command, std::move(block)});
  }
  wakeEvent.Set();
}

IdentityRecord DecodeServerLink::TakeResult(ReadGeneration generation) {
  const std::lock_guard guard(linkLock);
  if (read.generation != generation || read.result.count(ResultItem::done) == 0) {
    return {};
  }
  return std::exchange(read.result, {});
}

Block DecodeServerLink::TakeKey(ReadGeneration generation, KeyKind kind) {
  const std::lock_guard guard(linkLock);
  if (read.generation != generation) {
    return {};
  }
  auto taken = read.keys.extract(kind);
  return taken.empty() ? Block() : std::move(taken.mapped());
}

std::string DecodeServerLink::TakeFailureText() {
  const std::lock_guard guard(linkLock);
  const std::int32_t code = std::exchange(failureCode, ERRORT_None);
  return code == ERRORT_None ? std::string() : std::string(StatusText(code));
}

bool DecodeServerLink::InitSocket(std::size_t mode, ReadGeneration generation,
                                  const ServiceSettings& settings) {
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
      File(generation, {ERRORT_SocketInit});
    }
    return false;
  }
  const std::vector<ServerEndpoint> servers = ResolvedServers(generation, settings);
  if (servers.size() < mode) {
    return false;
  }
  const ServerEndpoint& server = servers[mode - 1];
  const bool connected = transport.ConnectServer(server, Over(generation));
  traceLog.Log("SER " + std::to_string(mode) + (connected ? " sucess" : " fail") + server.host);
  return connected;
}

std::vector<ServerEndpoint> DecodeServerLink::ResolvedServers(ReadGeneration generation,
                                                              const ServiceSettings& settings) {
  if (!settings.servers.empty()) {
    return settings.servers;
  }
  if (lookedUpServers.empty()) {
    traceLog.Log("Socket DNS Parse");
    if (!settings.hosts.empty()) {
      traceLog.Log("Socket DNS Parse 2");
    }
    std::vector<ServerEndpoint> resolved = hostNames.Resolve(settings.hosts, Over(generation));
    if (!IsCurrent(generation)) {
      return {};  // not all of them may have been found by then
    }
    lookedUpServers = std::move(resolved);
  }
  return lookedUpServers;
}

bool DecodeServerLink::StartClientThread() {
  const std::lock_guard guard(linkLock);
  if (clientThread != nullptr && clientThread->Running()) {
    return true;
  }
  clientThread = std::make_unique<platform::CSThread>();
  return clientThread->Start([this] { RunClient(); });
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
    while (PerformNext()) {
      platform::WipeStack();
    }
    const std::lock_guard guard(linkLock);
    if (stop) {
      return;
    }
  }
}

// The command is taken with the socket in hand: one that waited meanwhile for a read that is over
// would be performed for the next.
bool DecodeServerLink::PerformNext() {
  const std::lock_guard exchangeGuard(exchangeLock);
  ReadGeneration generation = kNoRead;
  Command command;
  ServiceSession session;
  {
    const std::lock_guard guard(linkLock);
    if (read.commands.empty()) {
      return false;
    }
    generation = read.generation;
    command = std::move(read.commands.front());
    read.commands.pop_front();
    session = {identity, token};
  }
  const Trace trace = [this](std::string_view text) { traceLog.Log(WithoutLineEnd(text)); };
  File(generation,
       PerformExchange(command.command, command.block, dialect, session, transport, clock, trace));
  return true;
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
  if (result.token) {
    token = std::move(*result.token);
  }
  if (read.generation != generation) {
    return;
  }
  if (result.failureCode != ERRORT_None) {
    read.failed = true;
    read.commands.clear();
    failureCode = result.failureCode;
    result.entries = {{ResultItem::fail, "Fail"}, {ResultItem::done, "Done-Server"}};
  }
  for (auto& [item, text] : result.entries) {
    read.result.try_emplace(item, std::move(text));  // the first value counts
  }
  if (!result.key.empty()) {
    read.keys.try_emplace(result.keyKind, std::move(result.key));
  }
}

bool DecodeServerLink::IsCurrent(ReadGeneration generation) {
  const std::lock_guard guard(linkLock);
  return read.generation == generation;
}

std::function<bool()> DecodeServerLink::Over(ReadGeneration generation) {
  return [this, generation] { return !IsCurrent(generation); };
}

}  // namespace idcardreader
