#include <map>

#include "base/expect.h"
#include "service/decode_transaction.h"
#include "support/status_codes.h"
#include "support/throwing_hard_stop.h"
#include "world/fuzzed_service.h"

// The exchanges of one connection, with the log of them on.

using namespace idcardreader;

namespace {

constexpr int kMostExchanges = 8;

class CheckingSink : public ExchangeSink {
 public:
  explicit CheckingSink(const fuzz::FuzzedService& service) : service(service) {}

  bool Tracing() const override { return true; }
  void Trace(std::string_view) override {}
  void FileKey(std::int32_t item, const Block& key) override {
    fuzz::Expect(item == kItemInputKey || item == kItemOutputKey, "a key has its item");
    fuzz::Expect(key.size() == kKeySize, "a key has its size");
  }
  void FileContent(const std::vector<std::pair<std::int32_t, std::string>>& entries) override {
    for (const auto& [item, text] : entries) {
      if (item == kItemIdNumber) fuzz::Expect(service.HasCarried(text), "the content was carried");
    }
    filed = true;
  }
  void FileDone() override { ++ends; }
  void ReportFailure(std::int32_t code, std::string_view, std::string_view) override {
    fuzz::Expect(code > ERRORT_Ok && code < ERRORT_End, "a failure has a code");
    fuzz::Expect(!filed, "an exchange that fails files no content");
    ++ends;
  }

  int ends = 0;

 private:
  const fuzz::FuzzedService& service;
  bool filed = false;
};

void Perform(DecodeTransaction& transaction, fuzz::Script& script) {
  const std::string report = script.Bytes(script.Choice(65));
  const BlockView block(reinterpret_cast<const std::uint8_t*>(report.data()), report.size());
  switch (script.Choice(8)) {
    case 1:
      return transaction.Login();
    case 2:
      return transaction.InitDecodeChannel();
    case 3:
      return transaction.UploadDN(block);
    case 4:
      return transaction.UploadOutputKey(block);
    case 5:
      return transaction.UploadSector11Data(block);
    case 6:
      return transaction.UploadSector12Data(block);
    case 7:
      return transaction.UploadSector13Data(block);
    default:
      return transaction.UploadSector21Data(block);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ThrowingHardStop throwing;
  fuzz::Script script(data, size);
  fuzz::VirtualClock clock;
  fuzz::FuzzedService service(script, clock);
  SocketTransport transport(service);
  if (!transport.CreateSocket()) return 0;
  const Dialect dialect = script.Choice(2) == 0 ? Dialect::token : Dialect::device_code;
  const ServiceIdentity identity;
  LoginState login;
  try {
    for (int count = 0; count == 0 || (count < kMostExchanges && !script.Empty()); ++count) {
      CheckingSink sink(service);
      DecodeTransaction transaction(transport, sink, clock, dialect, identity, login);
      Perform(transaction, script);
      fuzz::Expect(sink.ends <= 1, "an exchange ends once");
      fuzz::Expect(!login.loggedIn || login.token.size() >= 2, "a login has a token");
    }
  } catch (const ThrowingHardStop::Stopped&) {
  }
  return 0;
}
