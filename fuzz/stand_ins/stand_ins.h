#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>

namespace fuzz {

// The files that there are, by name without a folder. Nothing is ever written.
std::map<std::string, std::string>& Files();

// The library's threads, run on the fuzzer's one thread, a piece at a time: from where a thread
// waits to where it would wait again. Which one goes on when is the fuzzer's choice, so that every
// run can be repeated.

// Thrown where the library's caller waits after a hard stop: there is no process any more.
struct ProcessEnded {};

// What happens, again and again, while the library's caller waits.
void WhileCallerWaits(std::function<void()> action);
// Runs a piece of one thread, if any can run; with the same choice they take turns.
void RunThread(std::size_t choice);
// For a clock: the thread that pauses between passes goes on later. All others have just slept.
void PauseThread();

}  // namespace fuzz
