#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace bench {

// The name under which our own code stands beside its peers.
inline constexpr char kOurs[] = "ours";

// A piece of work and everybody who does it, our code first. Nobody is measured whose result is not
// ours.
template <typename Result>
class Piece {
 public:
  explicit Piece(std::string name) : name(std::move(name)) {}

  Piece& By(const std::string& contender, std::function<Result()> work) {
    Result result = work();
    if (!expected) {
      expected = std::move(result);
    } else if (*expected != result) {
      throw std::runtime_error(name + ": the result of " + contender + " is not ours");
    }
    benchmark::RegisterBenchmark((name + "/" + contender).c_str(),
                                 [work = std::move(work)](benchmark::State& state) {
                                   for ([[maybe_unused]] auto turn : state) {
                                     benchmark::DoNotOptimize(work());
                                   }
                                 });
    return *this;
  }

 private:
  std::string name;
  std::optional<Result> expected;
};

// Each compares the results of its pieces and registers them.
void AddCipherPieces();
void AddContentPieces();
void AddGbkPieces();

}  // namespace bench
