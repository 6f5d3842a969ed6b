// Reads cards in C++20: values instead of buffers, UTF-8 instead of GBK, a result instead of a
// return value and a text, std::stop_token instead of readCardStop. Header-only.
//
//     auto reader = idcardreader::Reader::Load();          // or Linked()
//     if (!reader) return Show(reader.error());
//     auto card = reader->Read(stopToken);
//     if (card) std::puts(card->name.c_str()); else Show(card.error());
//
// What idcardreader.h says of files, printing and forked children holds here as well. A Reader may
// be used by several threads; one of them talks to the library at a time.
#ifndef IDCARDREADER_IDCARDREADER_HPP_
#define IDCARDREADER_IDCARDREADER_HPP_

#include <idcardreader/idcardreader.h>
#include <idcardreader/status_codes.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#if defined(_WIN32)
#if !defined(WIN32_LEAN_AND_MEAN)
#define WIN32_LEAN_AND_MEAN
#endif
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <dlfcn.h>
#include <iconv.h>
#endif

namespace idcardreader {

static_assert(sizeof(void*) == 8, "the library is 64-bit, and so must be the program");
static_assert(sizeof("卡") == 4, "literals must be UTF-8: MSVC needs /utf-8");

enum class CardType {
  none = IDCARDREADER_CARD_NONE,
  resident = IDCARDREADER_CARD_RESIDENT,
  residencePermit = IDCARDREADER_CARD_RESIDENCE_PERMIT,  // Hong Kong, Macao and Taiwan residents
  permanentOld = IDCARDREADER_CARD_PERMANENT_OLD,        // permanent residence, old format
  permanentNew = IDCARDREADER_CARD_PERMANENT_NEW,
};

// What one card holds. A field that the card has not is empty; dates are YYYYMMDD.
struct Card {
  CardType type = CardType::none;
  std::string dn;  // 64 hexadecimal digits
  std::string name;
  std::string englishName;
  std::string sex;
  std::string nation;
  std::string country;
  std::string countryCode;
  std::string birthday;
  std::string address;
  std::string idNumber;
  std::string passNumber;
  std::string authority;
  std::string validFrom;
  std::string validUntil;  // or a word meaning "for ever"
  std::vector<std::byte> textBlock;
  std::vector<std::byte> photo;  // compressed, as the card holds it
  std::vector<std::byte> fingerprint;
};

struct Error {
  enum class Kind { notRead, cancelled, notLoaded };

  bool Cancelled() const { return kind == Kind::cancelled; }

  Kind kind = Kind::notRead;
  int code = 0;  // 0: there is none, and no cause and cure either
  std::string text;
  std::string cause;
  std::string cure;
  std::string causeZh;
  std::string cureZh;
};

// A value, or the reason why there is none.
template <typename Value>
class Result {
 public:
  Result(Value value) : content(std::in_place_index<0>, std::move(value)) {}  // NOLINT
  Result(Error error) : content(std::in_place_index<1>, std::move(error)) {}  // NOLINT

  explicit operator bool() const { return content.index() == 0; }
  Value& operator*() & { return std::get<0>(content); }
  const Value& operator*() const& { return std::get<0>(content); }
  Value&& operator*() && { return std::get<0>(std::move(content)); }
  Value* operator->() { return &std::get<0>(content); }
  const Value* operator->() const { return &std::get<0>(content); }
  const Error& error() const { return std::get<1>(content); }

 private:
  std::variant<Value, Error> content;
};

namespace detail {

#define IDCARDREADER_HPP_FUNCTIONS(F) \
  F(readCardStart)                    \
  F(readCardStop)                     \
  F(readCardErrorInfo)                \
  F(readCardGetLastError)             \
  F(readCardGetDN)                    \
  F(readCardGetUID)                   \
  F(readCardGetDeviceStatus)          \
  F(readCardSetDeviceType)            \
  F(SDT_ReadBaseFPMsg)                \
  F(CloseComm)                        \
  F(GetPeopleName)                    \
  F(GetPeopleSex)                     \
  F(GetPeopleNation)                  \
  F(GetPeopleBirthday)                \
  F(GetPeopleAddress)                 \
  F(GetPeopleIDCode)                  \
  F(GetStartDate)                     \
  F(GetEndDate)                       \
  F(GetDepartment)                    \
  F(GetNewCardType)                   \
  F(GetNewPassNum)                    \
  F(GetNewPeopleNameEn)               \
  F(GetNewPeopleCountry)              \
  F(GetNewPeopleCountryCode)          \
  F(GetNewPhotoRaw)

struct Functions {
#define IDCARDREADER_HPP_MEMBER(name) decltype(&::name) name = nullptr;
  IDCARDREADER_HPP_FUNCTIONS(IDCARDREADER_HPP_MEMBER)
#undef IDCARDREADER_HPP_MEMBER
};

// One process has one engine, so its calls are serialised for all readers.
inline std::timed_mutex engineMutex;

#if defined(_WIN32)

inline std::string GbkToUtf8(std::string_view gbk) {
  if (gbk.empty()) return {};
  constexpr UINT kGbk = 936;
  const int length = static_cast<int>(gbk.size());
  std::wstring wide(gbk.size(), L'\0');  // no byte yields more than one unit
  wide.resize(static_cast<std::size_t>(
      MultiByteToWideChar(kGbk, 0, gbk.data(), length, wide.data(), length)));
  const int units = static_cast<int>(wide.size());
  std::string text(wide.size() * 3, '\0');
  text.resize(static_cast<std::size_t>(
      WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, text.data(),
                          static_cast<int>(text.size()), nullptr, nullptr)));
  return text;
}

#else

// What Windows makes of the cells that GBK leaves to its users or unassigned, private characters
// which old cards carry; the system's converter refuses them. 0: an ordinary cell.
inline char16_t PrivateCharacter(unsigned lead, unsigned trail) {
  const unsigned code = lead << 8 | trail;
  if (lead >= 0xAA && lead <= 0xAF && trail >= 0xA1) {
    return static_cast<char16_t>(0xE000 + (lead - 0xAA) * 94 + trail - 0xA1);
  }
  if (lead >= 0xF8 && trail >= 0xA1) {
    return static_cast<char16_t>(0xE234 + (lead - 0xF8) * 94 + trail - 0xA1);
  }
  if (lead >= 0xA1 && lead <= 0xA7 && trail <= 0xA0) {
    return static_cast<char16_t>(0xE4C6 + (lead - 0xA1) * 96 + trail - 0x40 - (trail > 0x7F));
  }
  constexpr struct {
    unsigned first, last;
  } kUnassigned[] = {{0xA2AB, 0xA2B0}, {0xA2E3, 0xA2E4}, {0xA2EF, 0xA2F0}, {0xA2FD, 0xA2FE},
                     {0xA4F4, 0xA4FE}, {0xA5F7, 0xA5FE}, {0xA6B9, 0xA6C0}, {0xA6D9, 0xA6DF},
                     {0xA6EC, 0xA6ED}, {0xA6F3, 0xA6F3}, {0xA6F6, 0xA6FE}, {0xA7C2, 0xA7D0},
                     {0xA7F2, 0xA7FE}, {0xA896, 0xA8A0}, {0xA8BC, 0xA8BC}, {0xA8BF, 0xA8BF},
                     {0xA8C1, 0xA8C4}, {0xA8EA, 0xA8FE}, {0xA958, 0xA958}, {0xA95B, 0xA95B},
                     {0xA95D, 0xA95F}, {0xA989, 0xA995}, {0xA997, 0xA9A3}, {0xA9F0, 0xA9FE},
                     {0xD7FA, 0xD7FE}, {0xFE50, 0xFEA0}};
  unsigned next = 0xE766;
  for (const auto& range : kUnassigned) {
    if (code >= range.first && code <= range.last) {
      return static_cast<char16_t>(next + code - range.first - (code > 0xFE7F));
    }
    next += range.last - range.first + 1;
  }
  return 0;
}

inline void AppendUtf8(std::string& text, char16_t character) {
  text += static_cast<char>(0xE0 | character >> 12);
  text += static_cast<char>(0x80 | (character >> 6 & 0x3F));
  text += static_cast<char>(0x80 | (character & 0x3F));
}

// As code page 936 of Windows has it.
inline std::string GbkToUtf8(std::string_view gbk) {
  const iconv_t converter = iconv_open("UTF-8", "GBK");
  const bool usable = converter != reinterpret_cast<iconv_t>(-1);
  std::string text;
  for (std::size_t i = 0; i < gbk.size(); ++i) {
    const auto lead = static_cast<unsigned char>(gbk[i]);
    if (lead < 0x80) {
      text += gbk[i];
    } else if (lead == 0x80 || lead == 0xFF) {
      AppendUtf8(text, lead == 0x80 ? 0x20AC : 0xF8F5);
    } else if (i + 1 == gbk.size()) {
      text += '?';
    } else {
      char pair[] = {gbk[i], gbk[i + 1]};
      const auto trail = static_cast<unsigned char>(gbk[++i]);
      const bool exists = trail >= 0x40 && trail != 0x7F && trail != 0xFF;
      const char16_t itself = exists ? PrivateCharacter(lead, trail) : 0;
      char converted[8];
      char* from = pair;
      char* to = converted;
      std::size_t fromLeft = sizeof(pair);
      std::size_t toLeft = sizeof(converted);
      if (itself != 0) {
        AppendUtf8(text, itself);
      } else if (exists && usable &&
                 iconv(converter, &from, &fromLeft, &to, &toLeft) != static_cast<std::size_t>(-1)) {
        text.append(converted, to);
      } else {
        text += '?';
        if (usable) iconv(converter, nullptr, nullptr, nullptr, nullptr);
      }
    }
  }
  if (usable) iconv_close(converter);
  return text;
}

inline bool CanDecodeGbk() { return GbkToUtf8("\xD6\xA4") == "\xE8\xAF\x81"; }

#endif

// The loaded library's file; none when the program is linked with the library.
class SharedLibrary {
 public:
  SharedLibrary() = default;
  SharedLibrary(SharedLibrary&& other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
  SharedLibrary& operator=(SharedLibrary&&) = delete;
  ~SharedLibrary() {
    if (handle == nullptr) return;
#if defined(_WIN32)
    FreeLibrary(handle);
#else
    dlclose(handle);
#endif
  }

#if defined(_WIN32)
  // Says why not in `complaint`.
  bool Open(const std::filesystem::path& file, std::string& complaint) {
    // A file with its folder finds its neighbours there.
    const DWORD search = file.is_absolute() ? LOAD_WITH_ALTERED_SEARCH_PATH : 0;
    handle = LoadLibraryExW(file.c_str(), nullptr, search);
    if (handle == nullptr) complaint = "system error " + std::to_string(GetLastError());
    return handle != nullptr;
  }
  void* Symbol(const char* name) const {
    return reinterpret_cast<void*>(GetProcAddress(handle, name));
  }

 private:
  HMODULE handle = nullptr;
#else
  bool Open(const std::filesystem::path& file, std::string& complaint) {
    handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) complaint = dlerror();
    return handle != nullptr;
  }
  void* Symbol(const char* name) const { return dlsym(handle, name); }

 private:
  void* handle = nullptr;
#endif
};

inline std::vector<std::byte> Taken(const std::vector<std::uint8_t>& buffer, std::uint32_t length) {
  const auto* begin = reinterpret_cast<const std::byte*>(buffer.data());
  return {begin, begin + std::min<std::size_t>(length, buffer.size())};
}

inline Card FetchCard(const Functions& library) {
  const auto buffer = [](auto function) {
    char text[IDCARDREADER_LONG_FIELD_BYTES] = "";
    return function(text) != 0 ? std::string(text) : std::string();
  };
  Card card;
  card.type = static_cast<CardType>(library.GetNewCardType());
  card.name = GbkToUtf8(library.GetPeopleName());
  card.englishName = buffer(library.GetNewPeopleNameEn);
  card.sex = GbkToUtf8(library.GetPeopleSex());
  card.nation = GbkToUtf8(library.GetPeopleNation());
  card.country = GbkToUtf8(buffer(library.GetNewPeopleCountry));
  card.countryCode = GbkToUtf8(buffer(library.GetNewPeopleCountryCode));
  card.birthday = library.GetPeopleBirthday();
  card.address = GbkToUtf8(library.GetPeopleAddress());
  card.idNumber = library.GetPeopleIDCode();
  card.passNumber = buffer(library.GetNewPassNum);
  card.authority = GbkToUtf8(library.GetDepartment());
  card.validFrom = library.GetStartDate();
  card.validUntil = GbkToUtf8(library.GetEndDate());
  card.dn = library.readCardGetDN();

  std::vector<std::uint8_t> text(IDCARDREADER_TEXT_BLOCK_BYTES);
  std::vector<std::uint8_t> photo(IDCARDREADER_PHOTO_BLOCK_BYTES);
  std::vector<std::uint8_t> fingerprint(IDCARDREADER_FINGERPRINT_BLOCK_BYTES);
  std::uint32_t textLength = 0;
  std::uint32_t photoLength = 0;
  std::uint32_t fingerprintLength = 0;
  library.SDT_ReadBaseFPMsg(0, text.data(), &textLength, photo.data(), &photoLength,
                            fingerprint.data(), &fingerprintLength);
  // A card without a text block yields its photo this way only.
  if (photoLength == 0) library.GetNewPhotoRaw(photo.data(), &photoLength);
  card.textBlock = Taken(text, textLength);
  card.photo = Taken(photo, photoLength);
  card.fingerprint = Taken(fingerprint, fingerprintLength);
  return card;
}

// The library hands out a text, not a number. It begins with the text of the code, the longest one
// that fits, and may hold it again, with the details.
inline Error FetchError(const Functions& library) {
  const std::string lastError = library.readCardGetLastError();
  Error error;
  std::string codeText;
  for (int code = 2; code <= 55; ++code) {
    const std::string_view text = library.readCardErrorInfo(code);
    if (text.size() > codeText.size() && lastError.starts_with(text)) {
      codeText = text;
      error.code = code;
    }
  }
  const std::string_view details = std::string_view(lastError).substr(codeText.size());
  const bool repeated = !codeText.empty() && details.starts_with(codeText);
  error.text = GbkToUtf8(repeated ? details : std::string_view(lastError));
  for (const IdcardreaderStatusCode& status : idcardreaderStatusCodes) {
    if (status.code != error.code) continue;
    error.cause = status.cause;
    error.cure = status.cure;
    error.causeZh = status.causeZh;
    error.cureZh = status.cureZh;
  }
  return error;
}

inline Error CancelledError() {
  Error error;
  error.kind = Error::Kind::cancelled;
  error.text = "cancelled";
  return error;
}

inline Error NotLoadedError(std::string text) {
  Error error;
  error.kind = Error::Kind::notLoaded;
  error.text = std::move(text);
  error.cause =
      "The library is not where it was looked for, is not for 64 bits, or is another one.";
  error.cure = "State the library's path, or set IDCARDREADER_LIBRARY to it.";
  error.causeZh = "在所查找的位置没有该库，或该库不是64位，或是其他库。";
  error.cureZh = "请指定库的路径，或将环境变量 IDCARDREADER_LIBRARY 设为该路径。";
  return error;
}

// Hands a stop on to the library: again and again, since a stop that comes before a call has begun
// has no effect, but only while one of this task's calls runs, since it would meet another's.
class StopRelay {
 public:
  StopRelay(const Functions& library, std::stop_token token)
      : thread([this, stop = library.readCardStop, token = std::move(token)] {
          std::unique_lock lock(mutex);
          changed.wait(lock, token, [this] { return over; });
          while (!over) {
            if (calling) stop();
            changed.wait_for(lock, std::chrono::milliseconds(10), [this] { return over; });
          }
        }) {}
  StopRelay(const StopRelay&) = delete;
  StopRelay& operator=(const StopRelay&) = delete;
  ~StopRelay() {
    {
      const std::lock_guard lock(mutex);
      over = true;
    }
    changed.notify_all();
    thread.join();
  }

  // The engine is this task's and may be stopped.
  class Turn {
   public:
    // Not taken when the token was stopped first.
    Turn(StopRelay& ofTask, const std::stop_token& token) : relay(ofTask) {
      while (!token.stop_requested() && !engine.owns_lock()) {
        static_cast<void>(engine.try_lock_for(std::chrono::milliseconds(10)));
      }
      if (engine.owns_lock()) relay.Set(true);
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() { relay.Set(false); }
    explicit operator bool() const { return engine.owns_lock(); }

   private:
    StopRelay& relay;
    std::unique_lock<std::timed_mutex> engine{engineMutex, std::defer_lock};
  };

 private:
  void Set(bool value) {
    const std::lock_guard lock(mutex);
    calling = value;
  }

  std::mutex mutex;
  std::condition_variable_any changed;
  bool calling = false;
  bool over = false;
  std::thread thread;
};

}  // namespace detail

struct WatchOptions {
  std::function<void(const Error&)> onProblem = {};  // no reader, or a card that was not read
  bool polling = false;  // by whole reads, for serial readers: their search reports a card once
};

// The library and its engine. Closed, and unloaded if it was loaded, when it goes.
class Reader {
 public:
  enum class Connection { usb, serial };

  // With the library that the program is linked with.
  static Result<Reader> Linked(Connection connection = Connection::usb) {
    detail::Functions functions;
#define IDCARDREADER_HPP_TAKE(name) functions.name = &::name;
    IDCARDREADER_HPP_FUNCTIONS(IDCARDREADER_HPP_TAKE)
#undef IDCARDREADER_HPP_TAKE
    return Make({}, functions, connection);
  }

  // With the library of this file; when none is stated, that which IDCARDREADER_LIBRARY names, else
  // the one that the system finds by its name.
  static Result<Reader> Load(const std::filesystem::path& file = {},
                             Connection connection = Connection::usb) {
    std::vector<std::filesystem::path> candidates = {file};
    if (file.empty()) candidates = DefaultFiles();
    std::string complaints;
    for (const std::filesystem::path& candidate : candidates) {
      detail::SharedLibrary shared;
      std::string complaint;
      if (shared.Open(candidate, complaint)) return Bind(std::move(shared), connection);
      const std::u8string name = candidate.u8string();
      if (!complaints.empty()) complaints += "; ";
      complaints.append(name.begin(), name.end()).append(": ").append(complaint);
    }
    return detail::NotLoadedError("The library cannot be loaded: " + complaints);
  }

  Reader(Reader&&) = default;
  Reader& operator=(Reader&& other) noexcept {
    if (this == &other) return *this;
    if (state) Close();
    state = std::move(other.state);
    return *this;
  }
  ~Reader() {
    if (state) Close();
  }

  // Reads the card that lies on the reader. Blocks until that has ended or the token is stopped.
  Result<Card> Read(std::stop_token stop = {}) {
    Task task(*state, std::move(stop));
    const detail::StopRelay::Turn turn(task.relay, task.token);
    if (!turn) return detail::CancelledError();
    return ReadNow(task.token);
  }

  // Hands out each card once, until the token is stopped or the reader is closed, also while the
  // reader is unplugged and plugged in. Problems are told once for as long as they stay the same.
  // The callbacks run in this thread and may use the reader.
  void Watch(std::stop_token stop, const std::function<void(const Card&)>& onCard,
             const WatchOptions& options = {}) {
    Task task(*state, std::move(stop));
    std::string present;  // the number of the card that lies there
    std::string complaint;
    while (!task.token.stop_requested()) {
      const Step step = options.polling ? PollOnce(task, present) : SearchOnce(task, present);
      const bool told = step.problem && step.lasting && step.problem->text == complaint;
      if (step.fine) complaint.clear();
      if (step.lasting && step.problem) complaint = step.problem->text;
      if (task.token.stop_requested() && !step.card) return;
      if (step.card) onCard(*step.card);
      if (step.problem && !told && options.onProblem) options.onProblem(*step.problem);
      if (step.pause.count() != 0) Pause(task.token, step.pause);
    }
  }

  // Cancels what other threads do and gives everything back. The next call begins anew, with the
  // files as they are then.
  void Close() {
    std::stop_source before;
    {
      const std::lock_guard lock(state->mutex);
      before = std::exchange(state->closing, std::stop_source());
    }
    before.request_stop();
    const std::lock_guard engine(detail::engineMutex);
    state->library.CloseComm();
    state->prepared = false;
  }

 private:
  struct State {
    detail::SharedLibrary shared;
    detail::Functions library;
    Connection connection = Connection::usb;
    bool prepared = false;  // whether the engine knows the connection
    std::mutex mutex;
    std::stop_source closing;
  };

  // A read or a watch, stopped by the caller or by Close.
  struct Task {
    Task(State& state, std::stop_token stop)
        : token(own.get_token()),
          byCaller(std::move(stop), Stop{own}),
          byClose(ClosingToken(state), Stop{own}),
          relay(state.library, token) {}

    struct Stop {
      void operator()() const { static_cast<void>(std::stop_source(source).request_stop()); }
      std::stop_source source;
    };
    static std::stop_token ClosingToken(State& state) {
      const std::lock_guard lock(state.mutex);
      return state.closing.get_token();
    }

    std::stop_source own;
    std::stop_token token;
    std::stop_callback<Stop> byCaller;
    std::stop_callback<Stop> byClose;
    detail::StopRelay relay;
  };

  static constexpr std::chrono::milliseconds kBetweenAttempts{300};
  static constexpr std::chrono::milliseconds kWhileCardStays{50};

  struct Step {
    std::optional<Card> card;
    std::optional<Error> problem;
    bool lasting = false;  // the problem, as long as it stays the same
    bool fine = false;     // the problem before has gone
    std::chrono::milliseconds pause{0};
  };

  explicit Reader(std::shared_ptr<State> made) : state(std::move(made)) {}

  static std::vector<std::filesystem::path> DefaultFiles() {
#if defined(_WIN32)
    const wchar_t* const stated = _wgetenv(L"IDCARDREADER_LIBRARY");
    if (stated != nullptr && *stated != L'\0') return {stated};
    return {L"idcardreader.dll"};
#else
    const char* const stated = std::getenv("IDCARDREADER_LIBRARY");
    if (stated != nullptr && *stated != '\0') return {stated};
    return {"libidcardreader.so.2", "libidcardreader.so"};
#endif
  }

  static Result<Reader> Make(detail::SharedLibrary shared, const detail::Functions& functions,
                             Connection connection) {
#if !defined(_WIN32)
    if (!detail::CanDecodeGbk()) {
      return detail::NotLoadedError("The system's iconv has no converter for GBK");
    }
#endif
    return Reader(
        std::shared_ptr<State>(new State{std::move(shared), functions, connection, false, {}, {}}));
  }

  static Result<Reader> Bind(detail::SharedLibrary shared, Connection connection) {
    detail::Functions functions;
    std::string missing;
    const auto bind = [&](const char* name, auto& function) {
      function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(shared.Symbol(name));
      if (function == nullptr) missing = name;
    };
#define IDCARDREADER_HPP_BIND(name) bind(#name, functions.name);
    IDCARDREADER_HPP_FUNCTIONS(IDCARDREADER_HPP_BIND)
#undef IDCARDREADER_HPP_BIND
    if (!missing.empty()) {
      return detail::NotLoadedError("The library lacks the function " + missing);
    }
    return Make(std::move(shared), functions, connection);
  }

  static void Prepare(State& state) {
    if (state.prepared) return;
    if (state.connection == Connection::serial) state.library.readCardSetDeviceType(1);
    state.prepared = true;
  }

  Result<Card> ReadNow(const std::stop_token& stop) {
    Prepare(*state);
    if (state->library.readCardStart(0) != 0) return detail::FetchCard(state->library);
    if (stop.stop_requested()) return detail::CancelledError();
    return detail::FetchError(state->library);
  }

  // One search. The library waits for a card up to a second, whoever stops it, so the search has a
  // thread of its own, and a stopped watch leaves it to its end; until then the engine is taken.
  struct Search {
    std::mutex mutex;
    std::condition_variable_any ended;
    bool over = false;
    bool found = false;
    std::optional<Error> problem;
  };

  static void Run(const std::shared_ptr<State>& state, const std::shared_ptr<Search>& search,
                  const std::stop_token& stop) {
    constexpr int kOpened = 1;
    const std::lock_guard engine(detail::engineMutex);
    bool found = false;
    std::optional<Error> problem;
    if (!stop.stop_requested()) {
      Prepare(*state);
      found = state->library.readCardStart(1) != 0;
      if (!found && state->library.readCardGetDeviceStatus() != kOpened) {
        problem = detail::FetchError(state->library);
      }
    }
    {
      const std::lock_guard lock(search->mutex);
      search->over = true;
      search->found = found;
      search->problem = std::move(problem);
    }
    search->ended.notify_all();
  }

  // The reader tells of a card by itself. A card that stays may be told of again and is not read
  // again; it has gone when the reader finds no number.
  Step SearchOnce(Task& task, std::string& present) {
    const auto search = std::make_shared<Search>();
    std::thread([of = state, search, stop = task.token] { Run(of, search, stop); }).detach();
    Step step;
    {
      std::unique_lock lock(search->mutex);
      if (!search->ended.wait(lock, task.token, [&] { return search->over; })) {
        state->library.readCardStop();
        return step;
      }
      if (search->problem) {
        present.clear();
        step.problem = std::move(search->problem);
        step.lasting = true;
        step.pause = kBetweenAttempts;
        return step;
      }
    }
    step.fine = true;
    if (!search->found && present.empty()) return step;
    const detail::StopRelay::Turn turn(task.relay, task.token);
    if (!turn) return step;
    char uid[IDCARDREADER_UID_BYTES] = "";
    state->library.readCardGetUID(0, uid);
    if (search->found && uid[0] != '\0' && uid != present) Take(ReadNow(task.token), step);
    // A reader tells of a card that stays as often as it is asked.
    if (uid == present) step.pause = kWhileCardStays;
    present = uid;
    return step;
  }

  // A serial reader is asked by whole reads; the chip's number tells one card from the next.
  Step PollOnce(Task& task, std::string& present) {
    constexpr int kNoCard = 40;
    Step step;
    step.pause = kBetweenAttempts;
    const detail::StopRelay::Turn turn(task.relay, task.token);
    if (!turn) return step;
    Take(ReadNow(task.token), step);
    if (step.card) {
      step.fine = true;
      if (step.card->dn == present) {
        step.card.reset();
      } else {
        present = step.card->dn;
      }
    } else if (step.problem) {
      present.clear();
      step.fine = step.problem->code == kNoCard;
      step.lasting = true;
      if (step.fine) step.problem.reset();
    }
    return step;
  }

  static void Take(Result<Card> result, Step& step) {
    if (result) {
      step.card = *std::move(result);
    } else if (!result.error().Cancelled()) {
      step.problem = result.error();
    }
  }

  static void Pause(const std::stop_token& stop, std::chrono::milliseconds duration) {
    std::mutex mutex;
    std::condition_variable_any stopped;
    std::unique_lock lock(mutex);
    stopped.wait_for(lock, stop, duration, [] { return false; });
  }

  std::shared_ptr<State> state;
};

#undef IDCARDREADER_HPP_FUNCTIONS

// Writes a block, as Card::photo, to a file. False when that cannot be done.
inline bool SaveBlock(std::span<const std::byte> block, const std::filesystem::path& file) {
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream.write(reinterpret_cast<const char*>(block.data()),
               static_cast<std::streamsize>(block.size()));
  stream.close();
  return !stream.fail();
}

}  // namespace idcardreader

#endif  // IDCARDREADER_IDCARDREADER_HPP_
