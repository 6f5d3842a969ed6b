#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "service/dialect.h"
#include "support/result_items.h"

namespace idcardreader {

// What an exchange has brought, to be filed in one step so that nobody sees half of it.
struct ExchangeResult {
  // Other than 0: what ends the read. In the error log detail follows the code's text, and the
  // answer that was refused gets a line of its own.
  std::int32_t failureCode = 0;
  std::string detail;
  std::string answer;

  Block key;  // for the reader; empty when there is none
  KeyKind keyKind = KeyKind::input;
  // The card-holder's items and the end of the read.
  std::vector<std::pair<ResultItem, std::string>> entries;
  std::optional<std::string> token =
      {};  // when it has changed; empty when the login counts no more
};

// One exchange with the service: one message sent, its answer received and understood. The block is
// what the reader has answered.
ExchangeResult PerformExchange(ServiceCommand command, BlockView block, const Dialect& dialect,
                               const ServiceSession& session, SocketTransport& transport,
                               platform::Clock& clock, const Trace& trace);

}  // namespace idcardreader
