#include "doctor/data_file_check.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <stdexcept>

#include "datafile/scrambling.h"

namespace readcard::doctor {
namespace {

constexpr std::size_t kEndpointsTried = 2;
constexpr Text kAppId = {"Application id in appid.dat", "appid.dat中的应用标识"};
constexpr Text kEndpoints = {"Endpoints in hostport.dat", "hostport.dat中的服务地址"};
constexpr Text kNotReadable = {
    "The file is there, but no value can be descrambled from it: it is empty, damaged or in plain "
    "text.",
    "文件存在，但解不出任何值：文件为空、已损坏，或是明文。"};
constexpr Text kAskOperator = {
    "Get the file again from the operator of the decode service; for the devkit, datafile writes "
    "it.",
    "请向解码服务运营方重新获取该文件；devkit可用datafile生成。"};

std::optional<Endpoint> ParseEndpoint(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == 0 || colon == std::string::npos || text.find(':', colon + 1) != std::string::npos) {
    return std::nullopt;
  }
  unsigned port = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data() + colon + 1, end, port);
  if (parsed.ec != std::errc() || parsed.ptr != end || port == 0 || port > 0xFFFF) {
    return std::nullopt;
  }
  return Endpoint{text.substr(0, colon), static_cast<std::uint16_t>(port)};
}

}  // namespace

std::vector<std::string> DataFileValues(std::string_view text) {
  std::vector<std::string> values;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, length);
    text.remove_prefix(std::min(length + 1, text.size()));
    line = line.substr(0, line.find('\r'));
    const std::size_t tab = line.find('\t');
    if (tab == std::string_view::npos) continue;
    try {
      const std::string field =
          devkit::Descramble(std::string(line.substr(tab + 1)), devkit::kDataFileKey);
      const std::size_t equals = field.find('=');
      if (equals != std::string::npos && equals + 1 < field.size()) {
        values.push_back(field.substr(equals + 1));
      }
    } catch (const std::invalid_argument&) {
      // no scrambled field
    }
  }
  return values;
}

std::string CheckAppId(std::string_view text, Findings& findings) {
  const std::vector<std::string> values = DataFileValues(text);
  if (values.empty()) {
    findings.push_back({Level::fault, "appid.unreadable", kAppId, "", kNotReadable, kAskOperator});
    return {};
  }
  findings.push_back({Level::ok, "appid", kAppId, std::to_string(values.size())});
  return values.back();
}

std::vector<Endpoint> CheckHostPort(std::string_view text, Findings& findings) {
  const std::vector<std::string> values = DataFileValues(text);
  if (values.empty()) {
    findings.push_back(
        {Level::fault, "hostport.unreadable", kEndpoints, "", kNotReadable, kAskOperator});
    return {};
  }
  std::vector<Endpoint> endpoints;
  for (const std::string& value : values) {
    const auto endpoint = ParseEndpoint(value);
    if (!endpoint) {
      findings.push_back({Level::fault,
                          "hostport.malformed",
                          kEndpoints,
                          "",
                          {"An endpoint is not of the form host:port with a port from 1 to 65535.",
                           "有一个地址不是host:port的形式，或端口不在1到65535之间。"},
                          kAskOperator});
    } else if (endpoints.size() < kEndpointsTried) {
      endpoints.push_back(*endpoint);
    }
  }
  if (!endpoints.empty()) {
    findings.push_back({Level::ok, "hostport", kEndpoints, std::to_string(values.size())});
  }
  return endpoints;
}

}  // namespace readcard::doctor
