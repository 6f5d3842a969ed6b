#include "fault/vocabulary.h"

#include <algorithm>
#include <initializer_list>

#include "base/reader_commands.h"

namespace devkit {
namespace {

using Names = std::vector<std::string_view>;

Names Join(std::initializer_list<Names> groups) {
  Names all;
  for (const Names& group : groups) all.insert(all.end(), group.begin(), group.end());
  return all;
}

constexpr double kLongest = 600000;  // ten minutes

ParameterRule Milliseconds(std::string_view name, std::string_view standard = {}) {
  return {name, ParameterType::milliseconds, 0, kLongest, standard};
}

ParameterRule Number(std::string_view name, double least, double most,
                     std::string_view standard = {}) {
  return {name, ParameterType::number, least, most, standard};
}

ParameterRule OnWriteOrRead() {
  return {"on", ParameterType::text, 0, 0, R"("write")", {"write", "read"}};
}

Names ReaderPlaces() {
  Names places;
  for (const ReaderRequest& request : kReaderRequests) places.push_back(request.name);
  return Join({places, {"enumerate", "open", "write", "notification"}});
}

std::vector<KindRule> ReaderKinds() {
  Names commands, files;
  for (const ReaderRequest& request : kReaderRequests) {
    (request.command == Command::file ? files : commands).push_back(request.name);
  }
  const Names requests = Join({commands, files});
  const Names answered = Join({commands, {"notification"}});
  return {
      {"delay", FaultKind::delay, Places(Side::reader), {Milliseconds("ms")}},
      {"late", FaultKind::late, requests, {Milliseconds("ms", "3000")}},
      {"drop", FaultKind::drop, Join({requests, {"notification"}})},
      {"wrong-echo", FaultKind::wrong_echo, commands, {Number("count", 1, 64, "1")}},
      {"status", FaultKind::status, commands, {Number("status", 0, 255)}},
      {"short",
       FaultKind::short_answer,
       Join({requests, {"notification"}}),
       {Number("bytes", 0, 1024)}},
      {"corrupt", FaultKind::corrupt, Join({requests, {"notification"}})},
      {"answer", FaultKind::answer, answered, {{"report", ParameterType::hex}}},
      {"gap", FaultKind::gap, files, {Milliseconds("ms"), Number("after", 0, 1024, "60")}},
      {"stale",
       FaultKind::stale,
       Join({requests, {"open"}}),
       {{"report", ParameterType::hex, 0, 0, R"("")"}, Number("count", 1, 64, "1")}},
      {"io-error", FaultKind::io_error, Join({requests, {"write"}}), {OnWriteOrRead()}},
      {"unplug",
       FaultKind::unplug,
       Join({requests, {"write"}}),
       {OnWriteOrRead(), Number("replug", -1, 1000000, "-1")}},
      {"no-device", FaultKind::no_device, {"enumerate", "open"}},
      {"kind", FaultKind::kind, {"notification"}, {Number("kind", 0, 255)}},
      {"wrong-layout", FaultKind::wrong_layout, {"notification"}},
  };
}

std::vector<KindRule> ServiceKinds() {
  const Names keys = {"dn", "output-key"};
  const Names uploads =
      Join({keys, {"sector-11", "sector-12", "sector-13", "sector-21", "content"}});
  const Names exchanges = Join({{"heartbeat", "login"}, uploads});
  return {
      {"delay", FaultKind::delay, Places(Side::service), {Milliseconds("ms")}},
      {"drop", FaultKind::drop, Places(Side::service)},
      {"close", FaultKind::close, Places(Side::service), {Milliseconds("ms", "0")}},
      {"reset", FaultKind::reset, Places(Side::service), {Milliseconds("ms", "0")}},
      {"split",
       FaultKind::split,
       exchanges,
       {Milliseconds("gap", "50"), Number("parts", 2, 64, "2")}},
      {"half", FaultKind::half, exchanges},
      {"slow",
       FaultKind::slow,
       exchanges,
       {Number("bytes", 1, 65536, "1"), Milliseconds("ms", "5")}},
      {"oversized", FaultKind::oversized, exchanges, {Number("bytes", 1, 1048576, "20000")}},
      {"garbage", FaultKind::garbage, exchanges, {Number("bytes", 1, 65536, "64")}},
      {"refuse",
       FaultKind::refuse,
       exchanges,
       {{"code", ParameterType::text, 0, 0, R"("01")"},
        {"msg", ParameterType::text, 0, 0, R"("refused")"}}},
      {"expired-token",
       FaultKind::expired_token,
       uploads,
       {{"encoding", ParameterType::text, 0, 0, R"("gbk")", {"gbk", "utf8"}}}},
      {"corrupt", FaultKind::corrupt, {"dn", "output-key", "content"}},
      {"short-key", FaultKind::short_key, keys},
      {"wrong-marker", FaultKind::wrong_marker, keys},
      {"short-token", FaultKind::short_token, {"login"}},
      {"no-data", FaultKind::no_data, {"dn", "output-key", "content"}},
      {"bad-zlib", FaultKind::bad_zlib, {"content"}},
      {"cut-zlib", FaultKind::cut_zlib, {"content"}},
      {"empty", FaultKind::empty, {"content"}},
      {"unknown-type", FaultKind::unknown_type, {"content"}},
      {"acknowledge-first", FaultKind::acknowledge_first, {"content"}, {Milliseconds("gap", "50")}},
      {"content", FaultKind::content, keys},
      {"hang-up", FaultKind::hang_up, exchanges, {Milliseconds("ms", "0")}},
      {"not-listening", FaultKind::not_listening, {"connect"}},
      {"unanswered", FaultKind::unanswered, {"connect"}},
  };
}

}  // namespace

// Built at first use and never destroyed: the virtual reader may still be called while the process
// exits.
const Names& Places(Side side) {
  static const Names& reader = *new Names(ReaderPlaces());
  static const Names& service =
      *new Names{"connect",   "heartbeat", "login",     "dn",        "output-key",
                 "sector-11", "sector-12", "sector-13", "sector-21", "content"};
  return side == Side::reader ? reader : service;
}

const std::vector<KindRule>& Kinds(Side side) {
  static const std::vector<KindRule>& reader = *new std::vector<KindRule>(ReaderKinds());
  static const std::vector<KindRule>& service = *new std::vector<KindRule>(ServiceKinds());
  return side == Side::reader ? reader : service;
}

Names LatencyNames(Side side) {
  Names names = {side == Side::reader ? "report" : "exchange"};
  for (const std::string_view place : Places(side)) {
    // What nothing is sent at has no latency; the content is the answer to the last sector.
    const Names without = {"enumerate", "open", "write", "connect", "content"};
    if (std::find(without.begin(), without.end(), place) == without.end()) names.push_back(place);
  }
  return names;
}

}  // namespace devkit
