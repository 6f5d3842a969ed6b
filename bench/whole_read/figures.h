#pragma once

#include <vector>

namespace bench {

struct Figures {
  double median = 0;
  double p95 = 0;
  double maximum = 0;
};

// Of samples in any order; there must be one.
Figures FiguresOf(std::vector<double> samples);

// Of this process, by the system's own account.
double ProcessorSeconds();
double MemoryMegabytes();

}  // namespace bench
