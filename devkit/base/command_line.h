#pragma once

#include <CLI/CLI.hpp>
#include <optional>

namespace devkit {

// What the program ends with when it has nothing further to do: 0 for help, 2 for wrong usage.
inline std::optional<int> ParseCommandLine(CLI::App& app, int argumentCount, char** arguments) {
  constexpr int kWrongUsage = 2;
  try {
    app.parse(argumentCount, arguments);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kWrongUsage;
  }
  return std::nullopt;
}

}  // namespace devkit
