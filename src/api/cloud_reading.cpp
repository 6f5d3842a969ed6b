#include <algorithm>
#include <string>

#include "api/blocking_read.h"
#include "api/engine_use.h"
#include "api/export_guard.h"
#include "api/result_text.h"
#include "idcardreader/idcardreader.h"
#include "service/service_messages.h"
#include "support/status_codes.h"

// The readCard* family.

using namespace idcardreader;

namespace {

constexpr std::int32_t kSerialReader = 1;

// A text of the engine; empty without one.
template <typename Text>
const char* TextOfEngine(const EngineUse& engine, Text text) {
  return SetResultText(engine ? text(*engine.operator->()) : std::string());
}

template <typename Text>
const char* TextOfExistingEngine(Text text) {
  return Guarded("", [&text] { return TextOfEngine(UseEngine(), text); });
}

template <typename Text>
const char* TextOfAnyEngine(Text text) {
  return Guarded("", [&text] { return TextOfEngine(UseOrCreateEngine(), text); });
}

}  // namespace

int32_t readCardInit() {
  return Guarded(0, [] {
    const EngineUse engine = UseEngine();
    return engine && engine->ReadInit() ? 1 : 0;
  });
}

int32_t readCardDestory() {
  return Guarded(0, [] {
    const EngineUse engine = UseEngine();
    return engine && engine->ExitEngine() ? 1 : 0;
  });
}

int32_t readCardLog(int32_t on) {
  return Guarded(0,
                 [on] { return UseOrCreateEngine()->SetLogging(LowByte(on) != 0, true) ? 1 : 0; });
}

int32_t readCardStart(int32_t mode) {
  if (LowByte(mode) == 0) {
    return ReadCardBlocking() ? 1 : 0;
  }
  return Guarded(0, [] { return UseOrCreateEngine()->ReadCardStartRead(true) ? 1 : 0; });
}

void readCardStop() {
  Guarded(0, [] {
    StopRead();
    return 0;
  });
}

const char* readCardErrorInfo(int32_t code) {
  return TextOfExistingEngine([code](ReaderEngine&) { return std::string(StatusText(code)); });
}

const char* readCardGetLastError() {
  return TextOfExistingEngine([](ReaderEngine& engine) { return engine.GetLastErrorText(); });
}

const char* readCardGetDN() {
  return TextOfExistingEngine([](ReaderEngine& engine) { return engine.DnHex(); });
}

int32_t readCardGetUID(int32_t mode, char* buffer) {
  return Guarded(0, [mode, buffer] {
    const std::string uid = UseOrCreateEngine()->GetCardUid(mode);
    std::copy_n(uid.begin(), std::min<std::size_t>(uid.size(), IDCARDREADER_UID_BYTES - 1), buffer);
    return uid.empty() ? 0 : 1;
  });
}

const char* readCardGetVersionCode() {
  return TextOfAnyEngine([](ReaderEngine& engine) { return engine.VersionCode(); });
}

const char* readCardGetAuthorizeCode() {
  return TextOfAnyEngine([](ReaderEngine& engine) { return engine.AuthorizeCode(); });
}

const char* readCardGetHostDeviceCode() {
  return TextOfAnyEngine([](ReaderEngine& engine) { return engine.HostDeviceCode(); });
}

const char* readCardGetSdkVersion() {
  return TextOfAnyEngine([](ReaderEngine&) { return std::string(kSdkVersion); });
}

const char* readCardGetComSet() {
  return TextOfAnyEngine([](ReaderEngine& engine) { return engine.SerialDescription(); });
}

int32_t readCardGetDeviceStatus() {
  return Guarded(0, [] { return static_cast<int32_t>(UseOrCreateEngine()->DeviceStatus()); });
}

int32_t readCardGetCardType() {
  return Guarded(0, [] { return static_cast<int32_t>(UseOrCreateEngine()->CardKind() & 0xFF); });
}

int32_t readCardSetDeviceType(int32_t kind) {
  return Guarded(
      0, [kind] { return UseOrCreateEngine()->SetDeviceType(kind == kSerialReader) ? 1 : 0; });
}

uint64_t readCardBeep(int32_t on) {
  return Guarded(uint64_t{0}, [on] {
    const EngineUse engine = UseOrCreateEngine();
    engine->SetBeepOnSuccess(LowByte(on) != 0);
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(engine.operator->()));
  });
}
