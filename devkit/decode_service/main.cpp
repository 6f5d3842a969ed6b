// decode-service: the decode service as a program.

#include <cstdio>
#include <fstream>
#include <iostream>

#include "base/asio.h"
#include "base/command_line.h"
#include "base/json_file.h"
#include "decode_service/decode_service.h"

namespace {

std::vector<devkit::Card> ReadAll(const std::vector<std::string>& places) {
  std::vector<devkit::Card> cards;
  for (const std::string& place : places) {
    for (devkit::Card& card : devkit::ReadCards(devkit::PathFromText(place))) {
      cards.push_back(std::move(card));
    }
  }
  return cards;
}

void WritePortFile(const std::string& file, std::uint16_t port) {
  // Renamed into place, so that whoever waits for the file never finds half a number.
  const std::filesystem::path path = devkit::PathFromText(file);
  std::filesystem::path draft = path;
  draft += ".part";
  std::ofstream(draft) << port << '\n';
  std::filesystem::rename(draft, path);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("A decode service on this machine for the devkit's cards.", "decode-service");
  devkit::ServiceOptions options;
  std::vector<std::string> cardPlaces;
  std::string scenarioFile;
  std::string portFile;
  std::string encoding = "gbk";
  app.add_option("--port", options.port, "TCP port on 127.0.0.1; 0 takes any free one");
  app.add_option("--cards", cardPlaces, "card files, or folders of them")->required();
  app.add_option("--scenario", scenarioFile,
                 "faults and latencies; read again when a client connects and the file changed");
  app.add_option("--port-file", portFile, "is written once the service listens: the port's number");
  app.add_option("--encoding", encoding, "of the messages' texts")
      ->check(CLI::IsMember({"gbk", "utf8"}));
  app.add_flag("--verbose", options.logTexts, "log the messages themselves, too");
  if (const auto status = devkit::ParseCommandLine(app, argc, argv)) return *status;

  try {
    if (encoding == "utf8") options.encoding = devkit::TextEncoding::utf8;
    if (!scenarioFile.empty()) options.scenarioFile = devkit::PathFromText(scenarioFile);
    options.rememberedMessages = 0;
    options.log = [](const std::string& line) { std::cout << line << std::endl; };
    std::vector<devkit::Card> cards = ReadAll(cardPlaces);
    const std::size_t count = cards.size();

    asio::io_context context;
    asio::signal_set endSignals(context, SIGINT, SIGTERM);
    devkit::DecodeService service(std::move(cards), {}, std::move(options));
    std::cout << "listening on 127.0.0.1:" << service.Port() << " with " << count << " cards"
              << std::endl;
    if (!portFile.empty()) WritePortFile(portFile, service.Port());
    endSignals.async_wait([](std::error_code, int) {});
    context.run();
    service.Stop();
    std::cout << "ended" << std::endl;
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "decode-service: " << error.what() << std::endl;
    return 1;
  }
}
