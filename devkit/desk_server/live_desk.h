#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>

#include "decode_service/decode_service.h"
#include "desk_server/desk_table.h"
#include "desk_server/error_log_follower.h"
#include "desk_server/journal_follower.h"
#include "desk_server/read_history.h"

namespace devkit {

// The table, the decode service and what is known of the reads, at work. Any thread may call.
class LiveDesk {
 public:
  using Json = nlohmann::ordered_json;

  // The folder is a filled working folder. Throws FileError and std::system_error.
  LiveDesk(const std::filesystem::path& folder, std::uint16_t servicePort,
           std::map<std::string, int> codes);
  ~LiveDesk();
  LiveDesk(const LiveDesk&) = delete;
  LiveDesk& operator=(const LiveDesk&) = delete;

  std::uint16_t ServicePort() const { return service->Port(); }

  // Runs it with the table for itself; what it throws passes. Everybody who waits hears of it.
  void Change(const std::function<void(DeskTable&)>& change);

  Json DescribeTable() const;
  std::optional<std::string> CardText(const std::string& name) const;
  Json Reads() const;
  Json Read(std::uint64_t number) const;
  bool Edited() const;

  // What somebody has seen so far.
  struct Seen {
    std::uint64_t table = 0;
    std::uint64_t reads = 0;
  };
  // Waits, no longer than so, until there is more than that. False when the desk has ended.
  bool AwaitNews(Seen& seen, std::chrono::milliseconds limit, bool& newTable, bool& newReads) const;

  // Ends every wait; nothing is followed any more.
  void End();

 private:
  void Follow();
  void TakeJournal();

  // The service's thread takes the second lock alone, and whoever holds the first may wait for it.
  mutable std::mutex tableMutex;  // guards table; before newsMutex
  DeskTable table;
  mutable std::mutex newsMutex;  // guards all below but service and thread
  mutable std::condition_variable news;
  std::uint64_t tableVersion = 1;
  ReadHistory history;
  JournalFollower journal;
  ErrorLogFollower errors;
  bool ended = false;
  std::unique_ptr<DecodeService> service;
  std::thread follower;
};

}  // namespace devkit
