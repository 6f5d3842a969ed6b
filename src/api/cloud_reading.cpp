#include <algorithm>
#include <string>

#include "api/card_blocks.h"
#include "api/engine_use.h"
#include "api/export_support.h"
#include "idcardreader/idcardreader.h"
#include "service/dialect.h"
#include "support/status_codes.h"

// The readCard* family.

using namespace idcardreader;

namespace {

constexpr std::int32_t kSerialReader = 1;

// A text of the engine; empty without one.
template <typename Text>
const char* TextOf(EngineUse (*use)(), Text text) {
  return Guarded("", [use, &text] {
    const EngineUse engine = use();
    return SetResultText(engine ? text(*engine) : std::string());
  });
}

}  // namespace

int32_t readCardInit() {
  return WithEngine(UseEngine, 0, [](ReaderEngine& engine) { return engine.ReadInit(); });
}

int32_t readCardDestory() {
  return WithEngine(UseEngine, 0, [](ReaderEngine& engine) { return engine.ExitEngine(); });
}

int32_t readCardLog(int32_t on) {
  return WithEngine(UseOrCreateEngine, 0, [on](ReaderEngine& engine) {
    return engine.SetLogging(LowByte(on) != 0, true);
  });
}

int32_t readCardStart(int32_t mode) {
  if (LowByte(mode) == 0) {
    return ReadCardBlocking() ? 1 : 0;
  }
  return WithEngine(UseOrCreateEngine, 0, [](ReaderEngine& engine) { return engine.FindCard(); });
}

void readCardStop() {
  Guarded(0, [] {
    StopRead();
    return 0;
  });
}

const char* readCardErrorInfo(int32_t code) {
  return TextOf(UseEngine, [code](ReaderEngine&) { return std::string(StatusText(code)); });
}

const char* readCardGetLastError() {
  return TextOf(UseEngine, [](ReaderEngine& engine) { return engine.GetLastErrorText(); });
}

const char* readCardGetDN() {
  return TextOf(UseEngine, [](ReaderEngine& engine) { return engine.DnHex(); });
}

int32_t readCardGetUID(int32_t mode, char* buffer) {
  return WithEngine(UseOrCreateEngine, 0, [mode, buffer](ReaderEngine& engine) {
    const std::string uid = engine.GetCardUid(mode);
    std::copy_n(uid.begin(), std::min<std::size_t>(uid.size(), IDCARDREADER_UID_BYTES - 1), buffer);
    return !uid.empty();
  });
}

const char* readCardGetVersionCode() {
  return TextOf(UseOrCreateEngine,
                [](ReaderEngine& engine) { return engine.KnownReader().versionCode; });
}

const char* readCardGetAuthorizeCode() {
  return TextOf(UseOrCreateEngine,
                [](ReaderEngine& engine) { return engine.KnownReader().authorizeCode; });
}

const char* readCardGetHostDeviceCode() {
  return TextOf(UseOrCreateEngine, [](ReaderEngine& engine) { return engine.HostDeviceCode(); });
}

const char* readCardGetSdkVersion() {
  return TextOf(UseOrCreateEngine, [](ReaderEngine&) { return std::string(kSdkVersion); });
}

const char* readCardGetComSet() {
  return TextOf(UseOrCreateEngine, [](ReaderEngine& engine) { return engine.SerialDescription(); });
}

int32_t readCardGetDeviceStatus() {
  return WithEngine(UseOrCreateEngine, 0,
                    [](ReaderEngine& engine) { return engine.KnownReader().deviceStatus; });
}

int32_t readCardGetCardType() {
  return WithEngine(UseOrCreateEngine, 0,
                    [](ReaderEngine& engine) { return engine.KnownReader().cardKind & 0xFF; });
}

int32_t readCardSetDeviceType(int32_t kind) {
  return WithEngine(UseOrCreateEngine, 0, [kind](ReaderEngine& engine) {
    return engine.SetDeviceType(kind == kSerialReader);
  });
}

uint64_t readCardBeep(int32_t on) {
  return WithEngine(UseOrCreateEngine, uint64_t{0}, [on](ReaderEngine& engine) {
    engine.SetBeepOnSuccess(LowByte(on) != 0);
    return reinterpret_cast<uintptr_t>(&engine);
  });
}
