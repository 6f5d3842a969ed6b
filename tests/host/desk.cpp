#include "host/desk.h"

#include <fstream>

#include "base/json_file.h"
#include "host/run_folder.h"

namespace hosttest {

Desk::Desk()
    : file(RunFolder::Get().DeskFile()),
      cards(devkit::PathText(SourceFolder() / "devkit" / "cards")) {}

Desk::Desk(const std::filesystem::path& folder) : file(folder / "desk.json"), cards("cards") {}

void Desk::Put(const std::string& card) {
  content["card"] = cards + "/" + card + ".json";
  content["serial"] = ++presentations;
  Write();
}

void Desk::TakeCardAway() {
  content["card"] = nullptr;
  Write();
}

void Desk::Unplug() {
  content["plugged"] = false;
  Write();
}

void Desk::Plug() {
  content["plugged"] = true;
  Write();
}

void Desk::Misbehave(const nlohmann::json& readerSection) {
  content["scenario"] = {{"reader", readerSection}};
  content["serial"] = ++presentations;
  Write();
}

std::string Desk::TakeComplaints() {
  std::filesystem::path complaints = file;
  complaints += ".complaints";
  const std::string text = devkit::ReadTextFile(complaints).value_or("");
  std::filesystem::remove(complaints);
  return text;
}

// In one piece, so that no reader finds half a desk.
void Desk::Write() {
  std::filesystem::path part = file;
  part += ".part";
  std::ofstream stream(part, std::ios::binary | std::ios::trunc);
  stream << content.dump(2);
  stream.close();
  std::filesystem::rename(part, file);
}

}  // namespace hosttest
