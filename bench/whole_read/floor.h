#pragma once

namespace bench {

// In milliseconds.
struct Pace {
  double pause = 0;     // the read thread's, between two passes
  double report = 0;    // from the reader; each answer is one, a file as many as it needs
  double exchange = 0;  // from a message's way out to its answer's
};

// The shortest time that a read can take when reads follow each other, in milliseconds: the longest
// chain of what has to wait for each other, with nothing that takes longer than it must. Computed
// from the order of the tasks alone.
double Floor(const Pace& pace);

}  // namespace bench
