#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "card/card.h"
#include "fault/fault.h"
#include "reader_model/reader_model.h"

namespace devkit {

// What lies on the desk: the reader, plugged in or not, the card on it and how it misbehaves.
struct DeskState {
  std::shared_ptr<const Card> card;
  // Tells one presentation of a card from the next, also of the same card.
  std::string presentation;
  Scenario scenario;
  bool plugged = true;
  bool journal = false;  // what passes between host and reader is written down
  std::uint16_t vendorId = 0xC216;
  std::uint16_t productId = 0x0102;
  ReaderIdentity identity = StandardReaderIdentity();
};

// Throws FileError. Names in it are relative to the folder.
DeskState ParseDesk(const std::string& text, const std::string& where,
                    const std::filesystem::path& folder);

// The file by which a person or a test changes what lies on the desk while the reader runs.
class DeskFile {
 public:
  explicit DeskFile(std::filesystem::path path);

  // The new state when the file's content differs from what the last look found; nothing otherwise.
  // The first look always yields a state; a file that is missing is an empty desk. Content that is
  // wrong leaves things as they are and is reported once, when it is still there at the next look:
  // the first may have met the file half written.
  std::optional<DeskState> Look();

  // The message about the content at hand, to be shown once; empty when there is none.
  std::string TakeComplaint();

  const std::filesystem::path& Path() const { return path; }

 private:
  std::filesystem::path path;
  bool looked = false;
  std::optional<std::string> accepted;
  std::optional<std::string> rejected;
  bool complained = false;
  std::string complaint;
};

// Lays a new state on the desk of the reader: a card that is presented anew, faults from the start.
void Apply(const DeskState& state, const std::string& presentationBefore, ReaderModel& reader,
           Moment now);

}  // namespace devkit
