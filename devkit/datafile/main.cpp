// datafile: writes and shows the two data files that stand beside the library.

#include <iostream>
#include <nlohmann/json.hpp>

#include "base/command_line.h"
#include "base/json_file.h"
#include "datafile/data_files.h"

namespace {

void Show(const std::string& file, bool json) {
  const std::filesystem::path path = devkit::PathFromText(file);
  const std::optional<std::string> text = devkit::ReadTextFile(path);
  if (!text) throw devkit::FileError(file + ": cannot be read");
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const devkit::DataLine& line : devkit::ParseDataFile(*text, file)) {
    if (json) {
      all.push_back({{"name", line.name}, {"field", line.field}, {"value", line.Value()}});
    } else {
      std::cout << line.field << '\n';
    }
  }
  if (json) {
    std::cout << all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Writes and shows appid.dat and hostport.dat.", "datafile");
  app.require_subcommand(1);
  std::string file;
  std::string appId;
  std::vector<std::string> endpoints;
  bool json = false;

  CLI::App* appid = app.add_subcommand("appid", "write the application id");
  appid->add_option("--write", file, "the file to be written")->required();
  appid->add_option("--id", appId, "the application id")->required();
  CLI::App* hostport = app.add_subcommand("hostport", "write the service's endpoints");
  hostport->add_option("--write", file, "the file to be written")->required();
  hostport->add_option("endpoints", endpoints, "host:port, the first server first")->required();
  CLI::App* show = app.add_subcommand("show", "show what a file holds");
  show->add_option("file", file, "appid.dat or hostport.dat")->required();
  show->add_flag("--json", json, "as JSON");
  if (const auto status = devkit::ParseCommandLine(app, argc, argv)) return *status;

  try {
    if (*appid) devkit::WriteDataFile(devkit::PathFromText(file), devkit::AppIdLines(appId));
    if (*hostport) {
      devkit::WriteDataFile(devkit::PathFromText(file), devkit::HostPortLines(endpoints));
    }
    if (*show) Show(file, json);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "datafile: " << error.what() << std::endl;
    return 1;
  }
}
