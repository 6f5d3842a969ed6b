#include "api/desk.h"

#include "api/run_folder.h"
#include "base/json_file.h"

namespace apitest {

void Desk::Put(const std::string& card) {
  content["card"] = devkit::PathText(SourceFolder() / "devkit" / "cards" / (card + ".json"));
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

void Desk::Write() { RunFolder::Get().WriteFile("virtual-reader.json", content.dump(2)); }

}  // namespace apitest
