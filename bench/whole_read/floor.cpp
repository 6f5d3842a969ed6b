#include "whole_read/floor.h"

#include <algorithm>

namespace bench {
namespace {

// Sixty bytes of a file a report.
constexpr int ReportsOf(int fileLength) { return (fileLength + 59) / 60; }

// The connection: one exchange after the other, in the order in which the read thread posts them.
class Service {
 public:
  explicit Service(double exchange) : exchange(exchange) {}
  void Post(double now) { answered = std::max(answered, now) + exchange; }
  double Answered() const { return answered; }

 private:
  double exchange;
  double answered = 0;
};

}  // namespace

double Floor(const Pace& pace) {
  Service service(pace.exchange);
  // The caller reads the DN meanwhile: the pass that has woken it (53 of the read before) is followed
  // by its pause.
  double now = std::max(pace.pause, pace.report);
  service.Post(now);  // 3, heartbeat
  now += pace.pause;
  service.Post(now);  // 5, DN
  // 12: the input key has come, the reader answers it.
  now = std::max(now + pace.pause, service.Answered()) + pace.report;
  now += pace.pause;
  service.Post(now);  // 6, the reader's answer
  // 13: the output key has come, the reader answers it.
  now = std::max(now + pace.pause, service.Answered()) + pace.report;
  // 7 to 11: each posts the file that the one before has read, and reads the next.
  now += pace.pause;
  for (const int fileLength : {214, 256, 1024, 1024}) {
    now += ReportsOf(fileLength) * pace.report + pace.pause;
    service.Post(now);
  }
  // 53: the content has come.
  return std::max(now + pace.pause, service.Answered());
}

}  // namespace bench
