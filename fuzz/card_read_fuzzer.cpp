#include <functional>
#include <string>

#include "base/expect.h"
#include "engine/reader_engine.h"
#include "stand_ins/stand_ins.h"
#include "support/result_items.h"
#include "support/status_codes.h"
#include "support/throwing_hard_stop.h"
#include "world/fuzzed_reader.h"
#include "world/fuzzed_service.h"

// The whole engine between a reader and a service that do what the script says: reads, searches and
// stops, one piece of a thread after the other.

using namespace idcardreader;

namespace {

constexpr int kMostActs = 5;

// "app=app001"; "1=10.0.0.1:9999" and "2=second.example:9999".
constexpr char kAppIdFile[] = "app\t5AEA11D943F329DB5EC5A7\n";
constexpr char kHostPortFile[] =
    "1\t5ADA52DB58D14F3F3D200070F17FEF64\n"
    "2\t5ADD519C56EE13C37AE318DA6485A242E572E04BCE50\n";

bool IsStatusText(const std::string& text) {
  for (std::int32_t code = ERRORT_ClientThread; code < ERRORT_End; ++code) {
    if (StatusText(code) != StatusText(ERRORT_None) && text.starts_with(StatusText(code))) {
      return true;
    }
  }
  return false;
}

bool Read(ReaderEngine& engine, const fuzz::FuzzedService& service) {
  const bool succeeded = engine.ReadCardStartRead();
  std::string record;
  for (auto item = ResultItem::text_block; OfTheCard(item);
       item = static_cast<ResultItem>(static_cast<int>(item) + 1)) {
    record += engine.GetResultText(item);
  }
  for (const auto item : {ResultItem::id_number, ResultItem::birthday, ResultItem::start_date,
                          ResultItem::pass_check_id}) {
    fuzz::Expect(service.HasCarried(engine.GetResultText(item)), "the person is this read's");
  }
  fuzz::Expect(!succeeded || !record.empty(), "a read that succeeds has a record");
  fuzz::Expect(succeeded || record.empty() || !IsStatusText(engine.GetLastErrorText()),
               "a read that fails leaves no record");
  return succeeded;
}

void Act(ReaderEngine& engine, fuzz::Script& script, const fuzz::FuzzedService& service) {
  const std::function<void()> acts[] = {
      [&] { Read(engine, service); },
      [&] { engine.FindCard(); },
      [&] { engine.GetCardUid(static_cast<std::int32_t>(script.Choice(3))); },
      [&] { engine.Beep(script.Byte()); },
      [&] { engine.StopRead(); },
      [&] { engine.SetDeviceType(script.Choice(2) != 0); },
      [&] { engine.ExitEngine(); },
      [&] { engine.SetBeepOnSuccess(true); }};
  acts[script.Choice(std::size(acts))]();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ThrowingHardStop throwing;
  fuzz::Files() = {{"appid.dat", kAppIdFile}, {"hostport.dat", kHostPortFile}};
  fuzz::Script script(data, size);
  fuzz::VirtualClock clock;
  fuzz::FuzzedReader reader(script, clock);
  fuzz::FuzzedService service(script, clock);
  const std::size_t choice = script.Choice(4);
  const Dialect& dialect = choice % 2 == 0 ? TokenDialect() : DeviceCodeDialect();
  if (choice >= 2) fuzz::Files()["conf.yaml"] = "canLog: true\n";
  bool processEnded = false;
  {
    ReaderEngine engine({reader, service, clock, "/host", "/library", dialect});
    fuzz::WhileCallerWaits([&] {
      const std::uint8_t action = script.Byte();
      if (action == 0xFF) engine.StopRead();
      if (action == 0xFE) engine.GetCardUid(0);
      fuzz::RunThread(action);
    });
    try {
      for (int count = 0; count < kMostActs && !script.Empty(); ++count) {
        Act(engine, script, service);
      }
      // Whatever has happened: when nothing goes wrong any more, the card on the reader is read.
      script.Rest();
      reader.pending.clear();  // what lies about unread belongs to nobody any more
      fuzz::Expect(Read(engine, service), "a good card is read");
    } catch (const fuzz::ProcessEnded&) {
      processEnded = true;
    }
  }
  fuzz::Expect(processEnded || service.Left() == 0, "what was taken from the system is given back");
  return 0;
}
