// Does the commands of its arguments, in their order, through idcardreader.hpp.
#include <charconv>
#include <chrono>
#include <cstdio>
#include <idcardreader/idcardreader.hpp>
#include <string>
#include <string_view>
#include <thread>

namespace {

using idcardreader::Card;
using idcardreader::Error;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

void Line(std::string_view key, std::string_view value) {
  std::printf("%.*s: %.*s\n", static_cast<int>(key.size()), key.data(),
              static_cast<int>(value.size()), value.data());
}

std::string Hex(std::span<const std::byte> block) {
  std::string text;
  for (const std::byte byte : block) {
    constexpr char kDigits[] = "0123456789abcdef";
    text += kDigits[std::to_integer<unsigned>(byte) >> 4];
    text += kDigits[std::to_integer<unsigned>(byte) & 0xF];
  }
  return text;
}

void End() {
  std::puts("end");
  std::fflush(stdout);
}

void Print(const Card& card) {
  std::puts("card");
  Line("type", std::to_string(static_cast<int>(card.type)));
  Line("dn", card.dn);
  Line("name", card.name);
  Line("englishName", card.englishName);
  Line("sex", card.sex);
  Line("nation", card.nation);
  Line("country", card.country);
  Line("countryCode", card.countryCode);
  Line("birthday", card.birthday);
  Line("address", card.address);
  Line("idNumber", card.idNumber);
  Line("passNumber", card.passNumber);
  Line("authority", card.authority);
  Line("validFrom", card.validFrom);
  Line("validUntil", card.validUntil);
  Line("textBlock", Hex(card.textBlock));
  Line("photo", Hex(card.photo));
  Line("fingerprint", Hex(card.fingerprint));
  End();
}

void Print(const Error& error) {
  std::puts("error");
  Line("code", std::to_string(error.code));
  Line("text", error.text);
  Line("cause", error.cause);
  Line("cure", error.cure);
  Line("causeZh", error.causeZh);
  Line("cureZh", error.cureZh);
  End();
}

void PrintCancelled(steady_clock::duration took) {
  std::puts("cancelled");
  Line("ms", std::to_string(std::chrono::duration_cast<milliseconds>(took).count()));
  End();
}

class Driver {
 public:
  explicit Driver(idcardreader::Reader given) : reader(std::move(given)) {}

  // False for an unknown command.
  bool Do(std::string_view command) {
    const std::size_t equals = command.find('=');
    const std::string_view name = command.substr(0, equals);
    const std::string_view value =
        equals == std::string_view::npos ? std::string_view() : command.substr(equals + 1);
    int number = 0;
    std::from_chars(value.data(), value.data() + value.size(), number);
    if (name == "read") {
      Show(reader.Read());
    } else if (name == "photo") {
      if (!idcardreader::SaveBlock(last.photo, std::string(value))) return false;
      std::puts("photo");
      Line("bytes", std::to_string(last.photo.size()));
      End();
    } else if (name == "cancel-read") {
      CancelRead(milliseconds(number));
    } else if (name == "watch") {
      Watch(number, milliseconds(0), false);
    } else if (name == "watch-polling") {
      Watch(number, milliseconds(0), true);
    } else if (name == "cancel-watch") {
      Watch(0, milliseconds(number), false);
    } else if (name == "close") {
      reader.Close();
    } else {
      return false;
    }
    return true;
  }

 private:
  void Show(const idcardreader::Result<Card>& result) {
    if (result) {
      last = *result;
      Print(last);
    } else {
      Print(result.error());
    }
  }

  void CancelRead(milliseconds after) {
    std::stop_source stop;
    steady_clock::time_point cancelled;
    std::jthread canceller([&] {
      std::this_thread::sleep_for(after);
      cancelled = steady_clock::now();
      stop.request_stop();
    });
    const auto result = reader.Read(stop.get_token());
    const auto ended = steady_clock::now();
    canceller.join();
    if (!result && result.error().Cancelled()) {
      PrintCancelled(ended - cancelled);
    } else {
      Show(result);
    }
  }

  // Cancelled after so many cards, or, with 0, after some time.
  void Watch(int count, milliseconds after, bool polling) {
    std::stop_source stop;
    steady_clock::time_point cancelled;
    const auto cancel = [&] {
      cancelled = steady_clock::now();
      stop.request_stop();
    };
    std::jthread canceller;
    if (count == 0) {
      canceller = std::jthread([&] {
        std::this_thread::sleep_for(after);
        cancel();
      });
    }
    const auto onCard = [&](const Card& card) {
      last = card;
      Print(card);
      if (--count == 0) cancel();
    };
    reader.Watch(stop.get_token(), onCard,
                 {.onProblem = [](const Error& error) { Print(error); }, .polling = polling});
    PrintCancelled(steady_clock::now() - cancelled);
  }

  idcardreader::Reader reader;
  Card last;
};

}  // namespace

int main(int argumentCount, char** arguments) {
#if defined(LINKED)
  auto reader = idcardreader::Reader::Linked();
#else
  auto reader = idcardreader::Reader::Load();
#endif
  if (!reader) {
    std::fprintf(stderr, "%s\n%s\n", reader.error().text.c_str(), reader.error().cure.c_str());
    return 2;
  }
  Driver driver(*std::move(reader));
  for (int i = 1; i < argumentCount; ++i) {
    if (!driver.Do(arguments[i])) {
      std::fprintf(stderr, "What is %s?\n", arguments[i]);
      return 2;
    }
  }
  return 0;
}
