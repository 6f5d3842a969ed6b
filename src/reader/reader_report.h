#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace idcardreader {

// A request: report id (always 0), command code, parameters. What a command does not write keeps
// the bytes of the one before.
inline constexpr std::size_t kReportSize = 65;
using Report = std::array<std::uint8_t, kReportSize>;

// A command to be sent. On a line without reports it is as long as its code and its parameters.
struct ReaderRequest {
  Report report{};
  std::size_t length = 0;
};

// A complete answer: echo of the command code, status, data. It is read into a report's buffer,
// which has one byte more.
inline constexpr std::size_t kAnswerSize = 64;
inline constexpr std::size_t kAnswerDataOffset = 2;
using Answer = std::array<std::uint8_t, kAnswerSize>;

// A report of a card file is all data; this many bytes of it belong to the file.
inline constexpr std::size_t kStreamStep = 60;

enum class ReaderCommand : std::uint8_t {
  search = 0x01,
  read_dn = 0x06,
  write_input_key = 0x07,
  write_output_key = 0x08,
  read_card_file = 0x0B,
  identity_card_uid = 0x0C,
  type_a_card_uid = 0x0D,
  authorize_code = 0x30,
  version = 0x64,
  beep = 0x65,
};

}  // namespace idcardreader
