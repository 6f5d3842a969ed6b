#include "platform/threads.h"

#include <utility>
#include <vector>

#include "base/expect.h"
#include "reader/reader_thread.h"
#include "stand_ins/stand_ins.h"
#include "support/throwing_hard_stop.h"

// Takes the place of the platform's threads and events.

namespace fuzz {
namespace {

// More than any input can ask for; every read ends in fewer.
constexpr int kLongestWait = 50'000;

struct Parked {};

struct Thread {
  std::function<void()> procedure;
  bool ended = true;
  bool inside = false;
  // One that makes passes pauses between them, where it can be left; what one that waits for a
  // named event sleeps for is in the midst of something.
  bool waitsForEvents = false;
};

std::vector<Thread*> started;
Thread* current = nullptr;
bool processEnded = false;
std::size_t turn = 0;
std::function<void()> whileCallerWaits;

void Run(Thread& thread) {
  Thread* const before = std::exchange(current, &thread);
  thread.inside = true;
  try {
    thread.procedure();
    thread.ended = true;
  } catch (const Parked&) {
  } catch (const idcardreader::ThrowingHardStop::Stopped&) {
    thread.ended = true;
    processEnded = true;
  }
  thread.inside = false;
  current = before;
}

}  // namespace

void WhileCallerWaits(std::function<void()> action) {
  whileCallerWaits = std::move(action);
  processEnded = false;
  turn = 0;
}

void RunThread(std::size_t choice) {
  std::vector<Thread*> able = started;
  std::erase_if(able, [](const Thread* thread) { return thread->ended || thread->inside; });
  if (!able.empty() && !processEnded) Run(*able[(turn++ + choice) % able.size()]);
}

void PauseThread() {
  if (current != nullptr && !current->waitsForEvents) throw Parked{};
}

}  // namespace fuzz

namespace idcardreader::platform {

struct CSThread::State : fuzz::Thread {};

CSThread::CSThread() : state(std::make_unique<State>()) {}

CSThread::~CSThread() {
  Join();
  std::erase(fuzz::started, state.get());
}

bool CSThread::Start(std::function<void()> procedure) {
  state->procedure = std::move(procedure);
  state->ended = false;
  fuzz::started.push_back(state.get());
  return true;
}

bool CSThread::Running() const { return !state->ended; }

// The thread was told to end: its next piece is its last.
void CSThread::Join() {
  if (!state->ended) fuzz::Run(*state);
  fuzz::Expect(state->ended, "a thread that is joined comes to its end");
}

// What may hang on a machine comes to its end here.
struct LoneThread::State {};
LoneThread::LoneThread() = default;
LoneThread::~LoneThread() = default;
bool LoneThread::Start(std::function<void()> procedure) {
  procedure();
  return true;
}
bool LoneThread::WaitFor(std::chrono::milliseconds) { return true; }

struct Event::State {
  bool named = false;
  bool signalled = false;
};

Event::Event(const char* name) : state(std::make_unique<State>()) {
  state->named = name != nullptr;
}
Event::~Event() = default;
void Event::Set() { state->signalled = true; }
void Event::Reset() { state->signalled = false; }

void Event::Wait() {
  if (fuzz::current != nullptr) {
    fuzz::current->waitsForEvents |= state->named;
    if (!state->signalled) throw fuzz::Parked{};
  }
  for (int count = 0; !state->signalled; ++count) {
    if (fuzz::processEnded) throw fuzz::ProcessEnded{};
    fuzz::Expect(count < fuzz::kLongestWait, "a wait of the library's caller ends");
    fuzz::whileCallerWaits();
  }
  state->signalled = false;
}

}  // namespace idcardreader::platform

// The reader's operations are performed where they are asked for.
bool idcardreader::ReaderThread::Take(Turn& turn) {
  turn.operation();
  return true;
}
