#pragma once

#include <cstdint>
#include <random>

namespace soak {

// Chance from a seed, the same on every platform (which the distributions of <random> are not).
class Dice {
 public:
  explicit Dice(std::uint32_t seed) : generator(seed) {}

  // From least to most, both included.
  int Between(int least, int most) {
    return least + static_cast<int>(generator() % static_cast<std::uint32_t>(most - least + 1));
  }
  bool Percent(int chance) { return Between(1, 100) <= chance; }
  template <typename Container>
  const auto& Of(const Container& container) {
    return container[generator() % container.size()];
  }

 private:
  std::mt19937 generator;
};

}  // namespace soak
