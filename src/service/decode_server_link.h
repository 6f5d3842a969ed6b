#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/service_settings.h"
#include "platform/clock.h"
#include "platform/dynamic_library.h"
#include "platform/mutex.h"
#include "platform/socket.h"
#include "platform/threads.h"
#include "service/exchange.h"
#include "service/host_names.h"
#include "service/socket_transport.h"
#include "support/card_read.h"
#include "support/logs.h"

namespace idcardreader {

// The connection to the decode service: a thread of its own performs the exchanges that are asked
// for and files what they bring. Reads are told apart by their generation.
//
// Two locks: linkLock guards queue, results and state and is never held during I/O; exchangeLock
// only serialises the use of the socket. Taken together, exchangeLock comes first.
class DecodeServerLink {
 public:
  DecodeServerLink(platform::SocketApi& sockets, HostNames& hostNames, platform::Clock& clock,
                   const Dialect& dialect);
  // Ends the client thread; an exchange under way is cut off.
  ~DecodeServerLink();
  DecodeServerLink(const DecodeServerLink&) = delete;
  DecodeServerLink& operator=(const DecodeServerLink&) = delete;

  void SwitchLog(bool on) { traceLog.Switch(on); }

  // Begins a read: drops whatever an earlier one has left, connects anew to the first server that
  // answers, starts the client thread if there is none. Runs on the caller's thread, for two
  // connects and one look-up of their names at most, after the exchange under way has been cut off;
  // the end of the read, or the beginning of a later one, ends it within 100 ms.
  bool ServerInit(ReadGeneration generation, const ServiceSettings& settings);
  // ServerInit has succeeded for this read, and the client thread works.
  bool Started(ReadGeneration generation);
  // Drops what is queued and to come for this read.
  void EndRead(ReadGeneration generation);
  // The next read has to log in first.
  bool LoginNeeded();

  void PostCommand(ReadGeneration generation, ServiceCommand command, Block block);
  // Both once, and empty as long as there is nothing: what the read has brought when the service is
  // done with it, and a key on the way there.
  IdentityRecord TakeResult(ReadGeneration generation);
  Block TakeKey(ReadGeneration generation, KeyKind kind);
  // The text of the failure of the last read that had one, once; empty when there is none.
  std::string TakeFailureText();

 private:
  // One exchange that the read thread asks for, with its own copy of the bytes it is about.
  struct Command {
    ServiceCommand command = ServiceCommand::heartbeat;
    Block block;
  };
  // All that belongs to one read, so that nothing of it is left when another takes its place. An
  // empty one takes no memory, which may be short where a read ends.
  struct Read {
    ReadGeneration generation = kNoRead;
    bool failed = false;  // the rest of it has become pointless
    std::list<Command> commands;
    IdentityRecord result;
    std::map<KeyKind, Block> keys;
  };

  bool InitSocket(std::size_t mode, ReadGeneration generation, const ServiceSettings& settings);
  std::vector<ServerEndpoint> ResolvedServers(ReadGeneration generation,
                                              const ServiceSettings& settings);
  bool StartClientThread();
  bool LoadPhotoLibrary();
  void RunClient();
  bool PerformNext();
  void File(ReadGeneration generation, ExchangeResult result);
  bool IsCurrent(ReadGeneration generation);
  std::function<bool()> Over(ReadGeneration generation);

  HostNames& hostNames;
  platform::Clock& clock;
  const Dialect& dialect;
  ActivityLog traceLog;
  platform::Event wakeEvent;

  platform::CSMutex exchangeLock;
  SocketTransport transport;
  bool newTransport = true;

  platform::CSMutex linkLock;
  bool stop = false;
  Read read;  // the current one
  ServiceIdentity identity;
  ReadGeneration startedRead = kNoRead;
  ReadGeneration lastEndedRead = kNoRead;
  std::int32_t failureCode = 0;
  std::string token;  // of the login, which outlives reads and connections
  std::unique_ptr<platform::CSThread> clientThread;

  // Used by the thread inside ServerInit alone.
  std::vector<ServerEndpoint> lookedUpServers;
  std::optional<std::unique_ptr<platform::DynamicLibrary>> photoLibrary;  // null: there is none
};

}  // namespace idcardreader
