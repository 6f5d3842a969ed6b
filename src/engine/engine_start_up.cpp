#include <mutex>
#include <utility>
#include <vector>

#include "engine/reader_engine.h"

// The part of the engine that is told by its files what to use.

namespace idcardreader {

StartUp ReaderEngine::Told() {
  const std::lock_guard guard(startUpLock);
  return startUp;
}

// Called again, it takes over what could not be read before.
void ReaderEngine::LoadConfig(const HostNames::GivenUp& givenUp) {
  const StartUp before = Told();
  const StartUp now = ReadStartUp(executableFolder, libraryFolder, before);
  {
    const std::lock_guard guard(startUpLock);
    startUp = now;
  }
  if (before.confFile == StartUp::File::unread) {
    reader.Configure(now.settings);
    if (now.confFile == StartUp::File::read && !logDetail) {
      SetLogging(now.settings.canLog, false);
    }
  }
  if (!before.EndpointsKnown() && now.EndpointsKnown()) {
    log.Log(now.endpointPosition);
    RecordServers(now, givenUp);
  }
}

void ReaderEngine::RecordServers(const StartUp& told, const HostNames::GivenUp& givenUp) {
  const auto& [first, second] = told.servers;
  std::vector<ServerEndpoint> servers = links.Names().Resolve({first, second}, givenUp);
  const std::lock_guard guard(startUpLock);
  serviceSettings.servers = std::move(servers);
  // Both hosts go with the second port: the service's operators count on it.
  serviceSettings.hosts = {{first.host, second.port}, {second.host, second.port}};
}

}  // namespace idcardreader
