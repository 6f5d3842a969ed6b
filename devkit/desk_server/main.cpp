// desk: the devkit as a page in a browser.

#include <cstdio>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>

#include "base/asio.h"
#include "base/command_line.h"
#include "base/json_file.h"
#include "desk_server/desk_server.h"
#include "desk_server/page_files.h"
#include "desk_server/working_folder.h"
#include "platform/files.h"
#include "platform/user_language.h"

namespace {

// The port that is tried first, so that a page in the browser's list of favourites finds the desk
// again.
constexpr std::uint16_t kUsualPort = 8460;

std::map<std::string, int> CodeTexts() {
  std::map<std::string, int> codes;
  for (const auto& entry : nlohmann::json::parse(devkit::PageContent("/codes.json"))) {
    codes[entry["text"].get<std::string>()] = entry["code"].get<int>();
  }
  return codes;
}

// Consoles of Windows take UTF-8 when they are told so; they are left as they were.
class Utf8Console {
 public:
#if defined(_WIN32)
  Utf8Console() { SetConsoleOutputCP(CP_UTF8); }
  ~Utf8Console() { SetConsoleOutputCP(before); }
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;

 private:
  const UINT before = GetConsoleOutputCP();
#endif
};

std::unique_ptr<devkit::DeskServer> Listen(devkit::LiveDesk& desk,
                                           devkit::DeskServerOptions options, bool anyPort) {
  if (anyPort) {
    options.port = kUsualPort;
    try {
      return std::make_unique<devkit::DeskServer>(desk, options);
    } catch (const std::runtime_error&) {
      options.port = 0;
    }
  }
  return std::make_unique<devkit::DeskServer>(desk, std::move(options));
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("The devkit in a browser: cards on a virtual reader, a decode service, and a page.",
               "desk");
  devkit::DeskServerOptions options;
  std::string folder;
  std::string devkitFolder;
  std::string portFile;
  std::uint16_t servicePort = 0;
  options.language = idcardreader::platform::UserReadsChinese() ? "zh" : "en";
  const auto* port = app.add_option(
      "--port", options.port,
      "TCP port of the page on 127.0.0.1; 0 takes any free one; 8460 or any free one without this");
  app.add_option("--service-port", servicePort, "TCP port of the decode service; any free one");
  app.add_option(
      "--folder", folder,
      "the folder to work in, where edited cards are kept; a temporary one without this");
  app.add_option("--devkit", devkitFolder, "the folder with cards and scenarios to begin with");
  app.add_option("--lang", options.language, "language: en or zh; the system's without this")
      ->check(CLI::IsMember({"en", "zh"}));
  app.add_option("--port-file", portFile, "is written once the page is there: its port's number");
  if (const auto status = devkit::ParseCommandLine(app, argc, argv)) return *status;

  [[maybe_unused]] const Utf8Console console;
  try {
    const bool chinese = options.language == "zh";
    const devkit::ShippedParts parts = devkit::FindShippedParts(
        idcardreader::platform::ExecutableFolder(), devkit::PathFromText(devkitFolder));
    const devkit::WorkingFolder work(devkit::PathFromText(folder));
    work.Fill(parts);
    options.startLine = work.StartLine();

    asio::io_context context;
    asio::signal_set endSignals(context, SIGINT, SIGTERM);
    devkit::LiveDesk desk(work.Path(), servicePort, CodeTexts());
    work.WriteDataFiles(desk.ServicePort());
    const auto server = Listen(desk, options, port->count() == 0);
    std::cout << (chinese ? "页面：" : "The page:  ") << server->Address() << '\n'
              << (chinese ? "文件夹：" : "The folder: ") << devkit::PathText(work.Path()) << '\n'
              << (chinese ? "让程序使用此台：" : "A program at this desk:  ") << options.startLine
              << std::endl;
    if (!portFile.empty()) {
      devkit::WriteWholeFile(devkit::PathFromText(portFile), std::to_string(server->Port()) + "\n");
    }
    endSignals.async_wait([](std::error_code, int) {});
    context.run();
    server->Stop();
    if (!desk.Edited()) work.RemoveIfTemporary();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "desk: " << error.what() << std::endl;
    return 1;
  }
}
