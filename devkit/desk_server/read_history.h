#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "decode_service/decode_service.h"

namespace devkit {

// What a line of the reader's journal, an event of the service and a line of a host's error log add
// up to: reads, each with its steps and its end. A read begins with the first step behind the end of
// the one before, or with a DN behind one that had come further than that. No step is made up: the end
// of a read is what the host has logged, or that the service has sent the content.
class ReadHistory {
 public:
  using Json = nlohmann::ordered_json;

  // The texts of the status codes, by which a code is told from a line of the log.
  explicit ReadHistory(std::map<std::string, int> codes);

  // What lies on the desk, for the reads that begin from now on.
  void SetDesk(std::string card, std::string scenario);

  void AddJournalLine(const nlohmann::json& line);
  void AddServiceEvent(const ServiceEvent& event, std::int64_t time);
  void AddLoggedError(const std::filesystem::path& folder, const std::string& text);

  // The library of this line, when it tells one.
  static std::filesystem::path LibraryOf(const nlohmann::json& line);

  std::uint64_t Version() const { return version; }  // another one after each change
  Json Summary() const;                              // all reads, the last with its steps
  Json StepsOf(std::uint64_t number) const;          // null when there is no such read

 private:
  enum class Outcome { running, content_sent, failed };
  struct Read {
    std::uint64_t number = 0;
    std::int64_t begin = 0;
    std::int64_t last = 0;  // of its last step
    std::uint64_t process = 0;
    std::string card;
    std::string scenario;
    Outcome outcome = Outcome::running;
    int code = -1;
    std::vector<std::string> log;
    std::deque<Json> steps;
    bool beyondDn = false;
  };

  Read& ReadFor(std::string_view step, std::int64_t time, std::uint64_t process);
  void AddStep(Read& read, Json step);
  static Json Describe(const Read& read);

  const std::map<std::string, int> codes;
  std::map<std::uint64_t, std::filesystem::path> folders;  // of each process's library
  std::string card;
  std::string scenario;
  std::deque<Read> reads;  // the last is the newest
  std::uint64_t readCount = 0;
  std::uint64_t version = 1;
};

}  // namespace devkit
