// Our pieces side by side with those of others, in one run: a table on standard output, in
// Markdown. The options are Google Benchmark's; --check only compares the results.

#include <cstdio>
#include <exception>
#include <string_view>
#include <vector>

#include "pieces/piece.h"
#include "pieces/table_reporter.h"

int main(int argc, char** argv) try {
  bench::AddCipherPieces();
  bench::AddContentPieces();
  bench::AddGbkPieces();
  if (argc == 2 && std::string_view(argv[1]) == "--check") {
    std::puts("The results of all contenders are the same.");
    return 0;
  }

  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  bench::TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return reporter.Slower() ? 1 : 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "pieces: %s\n", error.what());
  return 1;
}
