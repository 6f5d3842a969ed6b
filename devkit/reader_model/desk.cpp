#include "reader_model/desk.h"

#include "base/json_file.h"

namespace devkit {
namespace {

using Json = nlohmann::ordered_json;

std::uint16_t Id(const Json& desk, const char* name, std::uint16_t standard,
                 const std::string& where) {
  const auto found = desk.find(name);
  if (found == desk.end()) return standard;
  if (!found->is_number_unsigned() || found->get<std::uint64_t>() > 0xFFFF) {
    throw FileError(where + ": \"" + name + "\" must be a whole number from 0 to 65535");
  }
  return found->get<std::uint16_t>();
}

Bytes Code(const Json& desk, const char* name, Bytes standard, const std::string& where) {
  const auto found = desk.find(name);
  if (found == desk.end()) return standard;
  try {
    Bytes code = FromHex(found->get<std::string>());
    if (code.size() == standard.size()) return code;
  } catch (const std::exception&) {
  }
  throw FileError(where + ": \"" + name + "\" must be " + std::to_string(standard.size() * 2) +
                  " hexadecimal digits");
}

}  // namespace

DeskState ParseDesk(const std::string& text, const std::string& where,
                    const std::filesystem::path& folder) {
  const Json desk = ParseJsonText(text, where);
  RequireMembers(desk, where,
                 {"card", "scenario", "plugged", "serial", "vendor", "product", "authorize",
                  "version", "journal"});
  DeskState state;
  if (const auto card = desk.find("card"); card != desk.end() && !card->is_null()) {
    if (!card->is_string()) throw FileError(where + ": \"card\" must be a file name or null");
    state.card =
        std::make_shared<const Card>(ReadCardFile(folder / PathFromText(card->get<std::string>())));
    state.presentation = card->get<std::string>();
  }
  if (desk.contains("serial")) state.presentation += "#" + desk["serial"].dump();
  if (const auto scenario = desk.find("scenario"); scenario != desk.end()) {
    if (scenario->is_string()) {
      const std::filesystem::path file = folder / PathFromText(scenario->get<std::string>());
      state.scenario = ParseScenario(ReadJsonFile(file), PathText(file));
    } else if (!scenario->is_null()) {
      state.scenario = ParseScenario(*scenario, where + ": scenario");
    }
  }
  if (const auto plugged = desk.find("plugged"); plugged != desk.end()) {
    if (!plugged->is_boolean()) throw FileError(where + ": \"plugged\" must be true or false");
    state.plugged = plugged->get<bool>();
  }
  if (const auto journal = desk.find("journal"); journal != desk.end()) {
    if (!journal->is_boolean()) throw FileError(where + ": \"journal\" must be true or false");
    state.journal = journal->get<bool>();
  }
  state.vendorId = Id(desk, "vendor", state.vendorId, where);
  state.productId = Id(desk, "product", state.productId, where);
  state.identity.authorizeCode = Code(desk, "authorize", state.identity.authorizeCode, where);
  state.identity.version = Code(desk, "version", state.identity.version, where);
  return state;
}

DeskFile::DeskFile(std::filesystem::path deskPath) : path(std::move(deskPath)) {}

std::optional<DeskState> DeskFile::Look() {
  const std::optional<std::string> text = ReadTextFile(path);
  if (looked && text == accepted) {
    rejected.reset();
    return std::nullopt;
  }
  if (text && text == rejected) {
    complained = true;
    return std::nullopt;
  }
  try {
    DeskState state = text ? ParseDesk(*text, PathText(path), path.parent_path()) : DeskState{};
    looked = true;
    accepted = text;
    rejected.reset();
    complaint.clear();
    return state;
  } catch (const std::exception& error) {
    rejected = text;
    complained = false;
    complaint = error.what();
  }
  if (looked) return std::nullopt;
  looked = true;
  return DeskState{};
}

std::string DeskFile::TakeComplaint() {
  if (!complained) return {};
  return std::exchange(complaint, {});
}

void Apply(const DeskState& state, const std::string& presentationBefore, ReaderModel& reader,
           Moment now) {
  reader.SetIdentity(state.identity);
  reader.SetFaults(state.scenario.reader);
  reader.SetPlugged(state.plugged);
  if (!state.card || state.presentation != presentationBefore) {
    reader.PutCard(state.card, now);
  }
}

}  // namespace devkit
