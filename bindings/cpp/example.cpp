// Reads the card on the reader and prints a few lines; with the argument "watch", each card until
// Ctrl-C.
#include <atomic>
#include <csignal>
#include <idcardreader/idcardreader.hpp>
#include <iostream>
#include <string_view>

namespace {

std::atomic<bool> interrupted = false;

void Print(const idcardreader::Card& card) {
  std::cout << card.name << " " << card.englishName << "\n"
            << card.idNumber << ", valid until " << card.validUntil << "\n"
            << "photo: " << card.photo.size() << " bytes\n"
            << std::flush;
}

void Explain(const idcardreader::Error& error) {
  std::cerr << error.text << "\n" << error.cause << "\n" << error.cure << "\n";
}

}  // namespace

int main(int argumentCount, char** arguments) {
  const bool watch = argumentCount == 2 && std::string_view(arguments[1]) == "watch";
  if (argumentCount > 1 && !watch) {
    std::cerr << "Usage: example [watch]\n";
    return 2;
  }
  auto reader = idcardreader::Reader::Load();  // Linked(): with the library linked
  if (!reader) {
    Explain(reader.error());
    return 2;
  }
  std::stop_source stop;
  std::signal(SIGINT, [](int) { interrupted = true; });
  std::jthread interruption([&](const std::stop_token& over) {
    while (!interrupted && !over.stop_requested()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    stop.request_stop();
  });
  if (watch) {
    reader->Watch(stop.get_token(), Print, {.onProblem = Explain});
    return 0;
  }
  const auto card = reader->Read(stop.get_token());
  if (!card) {
    Explain(card.error());
    return 1;
  }
  Print(*card);
  return 0;
}
