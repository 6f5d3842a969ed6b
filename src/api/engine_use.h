#pragma once

#include <utility>

#include "engine/reader_engine.h"

namespace idcardreader {

// The process's one engine, kept alive while this object exists; false when there is none.
class EngineUse {
 public:
  EngineUse() = default;
  explicit EngineUse(ReaderEngine* engine) : engine(engine) {}
  ~EngineUse();
  EngineUse(EngineUse&& other) noexcept : engine(std::exchange(other.engine, nullptr)) {}
  EngineUse& operator=(EngineUse&&) = delete;

  explicit operator bool() const { return engine != nullptr; }
  ReaderEngine* operator->() const { return engine; }
  ReaderEngine& operator*() const { return *engine; }

 private:
  ReaderEngine* engine = nullptr;
};

// The engine that is there.
EngineUse UseEngine();
// The engine, made if need be; waits while another thread makes or destroys it. Throws when it
// cannot be made.
EngineUse UseOrCreateEngine();
// The same for a read; false when a stop came meanwhile.
EngineUse UseOrCreateEngineToRead();
// Ends the read that is running, also one that is still having the engine made.
void StopRead();
// As UseOrCreateEngine, tried once more when memory has run out.
EngineUse UseOrCreateEngineTwice();
// Releases a blocked read, waits until nobody uses the engine, and destroys it.
void DestroyEngine();

// When the library is unloaded: gives back what the uses need. False, and nothing done, when there
// is an engine.
bool ReleaseEngineUse();

}  // namespace idcardreader
