#pragma once

#include <chrono>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"

namespace devkit {

enum class FaultKind {
  // reader and service
  delay,
  drop,
  corrupt,
  // reader
  wrong_echo,
  status,
  short_answer,
  io_error,
  unplug,
  stale,
  late,
  no_device,
  answer,
  gap,
  kind,
  wrong_layout,
  // service
  split,
  refuse,
  expired_token,
  garbage,
  half,
  oversized,
  slow,
  close,
  reset,
  short_key,
  wrong_marker,
  short_token,
  no_data,
  bad_zlib,
  cut_zlib,
  empty,
  unknown_type,
  acknowledge_first,
  content,
  hang_up,
  not_listening,
  unanswered,
};

// One misbehaviour: what goes wrong, where, how often. Its parameters were checked and completed
// with their defaults when it was read.
struct Fault {
  std::string at;
  FaultKind kind = FaultKind::delay;
  int skip = 0;    // occasions that pass untouched first
  int times = -1;  // occasions that are spoiled; -1 without end
  nlohmann::json parameters = nlohmann::json::object();

  int Number(const char* name) const { return parameters.at(name).get<int>(); }
  std::string Text(const char* name) const { return parameters.at(name).get<std::string>(); }
  std::chrono::microseconds Time(const char* name) const;
  // A parameter that holds bytes as hexadecimal digits.
  Bytes Data(const char* name) const { return FromHex(Text(name)); }
};

// Everything that can be set for one side.
struct Section {
  std::map<std::string, std::chrono::microseconds, std::less<>> latency;
  std::vector<Fault> faults;
};

struct Scenario {
  std::string description;
  // The status code that a host's read ends with, for scenarios that are made for one, and the number
  // of undisturbed reads that must come before it.
  std::optional<int> code;
  int goodReadsBefore = 0;
  Section reader;
  Section service;
};

// Throws FileError naming the place and the words that are allowed there.
Scenario ParseScenario(const nlohmann::ordered_json& json, const std::string& where);

}  // namespace devkit
