#include <mutex>
#include <string>
#include <vector>

#include "engine/reader_engine.h"
#include "support/status_codes.h"

// The part of the engine that is told by its files what to use.

namespace idcardreader {
namespace {

constexpr char kSocketTimeoutMs[] = "1000";

}  // namespace

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
    RecordEndpoints(now.settings, givenUp);
  }
}

void ReaderEngine::RecordEndpoints(const ReaderSettings& settings,
                                   const HostNames::GivenUp& givenUp) {
  const std::vector<std::string> addresses =
      links.Names().Resolve({settings.serverHost1, settings.serverHost2}, givenUp);
  links.Record(LinkSetting::server1, addresses[0] + "." + settings.serverPort1);
  links.Record(LinkSetting::socket_timeout, kSocketTimeoutMs);
  links.Record(LinkSetting::server2, addresses[1] + "." + settings.serverPort2);
  // Both hosts go with the second port: the service's operators count on it.
  links.Record(LinkSetting::host1, settings.serverHost1 + "*" + settings.serverPort2);
  links.Record(LinkSetting::host2, settings.serverHost2 + "*" + settings.serverPort2);
}

}  // namespace idcardreader
