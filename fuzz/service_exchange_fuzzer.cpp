#include <iterator>

#include "base/expect.h"
#include "service/exchange.h"
#include "support/status_codes.h"
#include "support/throwing_hard_stop.h"
#include "world/fuzzed_service.h"

// The exchanges of one connection, with the log of them on.

using namespace idcardreader;

namespace {

constexpr int kMostExchanges = 8;

constexpr ServiceCommand kCommands[] = {ServiceCommand::sector21,   ServiceCommand::login,
                                        ServiceCommand::heartbeat,  ServiceCommand::dn,
                                        ServiceCommand::output_key, ServiceCommand::sector11,
                                        ServiceCommand::sector12,   ServiceCommand::sector13};

void Check(const ExchangeResult& result, const fuzz::FuzzedService& service) {
  fuzz::Expect(result.failureCode >= ERRORT_None && result.failureCode < ERRORT_End &&
                   result.failureCode != ERRORT_Ok,
               "a failure has a code");
  if (result.failureCode != ERRORT_None) {
    fuzz::Expect(result.key.empty() && result.entries.empty(),
                 "an exchange that fails brings nothing");
  }
  if (!result.key.empty()) {
    fuzz::Expect(result.key.size() == kKeySize, "a key has its size");
  }
  int ends = 0;
  for (const auto& [item, text] : result.entries) {
    if (item == ResultItem::id_number)
      fuzz::Expect(service.HasCarried(text), "the content was carried");
    if (item == ResultItem::done) ++ends;
  }
  fuzz::Expect(ends == (result.entries.empty() ? 0 : 1), "a content ends once");
  fuzz::Expect(!result.token || result.token->size() != 1, "a login has a token");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ThrowingHardStop throwing;
  fuzz::Script script(data, size);
  fuzz::VirtualClock clock;
  fuzz::FuzzedService service(script, clock);
  SocketTransport transport(service);
  if (!transport.CreateSocket()) return 0;
  const Dialect& dialect = script.Choice(2) == 0 ? TokenDialect() : DeviceCodeDialect();
  ServiceSession session;
  try {
    for (int count = 0; count == 0 || (count < kMostExchanges && !script.Empty()); ++count) {
      const std::string report = script.Bytes(script.Choice(65));
      const BlockView block(reinterpret_cast<const std::uint8_t*>(report.data()), report.size());
      const ServiceCommand command = kCommands[script.Choice(std::size(kCommands))];
      const ExchangeResult result = PerformExchange(command, block, dialect, session, transport,
                                                    clock, [](std::string_view) {});
      Check(result, service);
      if (result.token) session.token = *result.token;
    }
  } catch (const ThrowingHardStop::Stopped&) {
  }
  return 0;
}
