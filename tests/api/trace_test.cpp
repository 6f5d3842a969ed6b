// What `readcard trace` tells of a read, beside what the reader was told to take and the service
// saw; that nobody's data stands in it; and what it leaves behind.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "base/encoding.h"
#include "host/child_process.h"
#include "host/host_test.h"
#include "platform/clock.h"

namespace hosttest {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kWithinMs = 60;
#else
constexpr int kWithinMs = 10;
#endif
constexpr int kAttempts = 4;  // what a busy machine made late is read again

int MillisecondOfDay(int hour, int minute, int second, int millisecond) {
  return ((hour * 60 + minute) * 60 + second) * 1000 + millisecond;
}

class TraceTest : public HostTest {
 protected:
  void SetUp() override {
    serviceOptions.log = [this](const std::string& line) { NoteArrival(line); };
    HostTest::SetUp();
    CopyReadcard();
    desk.Put(kAnyCard);
    fs::remove(folder.Path() / "trace.svg");
  }
  void TearDown() override {
    HostTest::TearDown();
    folder.RemoveFile("conf.yaml");
  }

  ChildResult Run(const std::string& arguments) const {
    return RunProgram(folder.Path().string(), "readcard", "trace " + arguments);
  }

  // The document of a read of which `complaint` finds nothing to say; else of the last attempt.
  json Document(const std::function<std::string(const json&)>& complaint) {
    json document;
    std::string said = "not run";
    for (int attempt = 0; attempt < kAttempts && !said.empty(); ++attempt) {
      {
        const std::lock_guard guard(mutex);
        arrivals.clear();
      }
      service->ForgetReceived();
      const ChildResult child = Run("--json --lang en --svg trace.svg");
      document = json::parse(child.output);
      EXPECT_EQ(child.status, document["ok"] == true ? 0 : 1);
      said = complaint(document);
    }
    EXPECT_EQ(said, "") << document.dump(1);
    return document;
  }

  // Each exchange beside the message that the service saw: when, how long and how long it is.
  std::string ComparedWithService(const json& document, int latency) {
    const std::vector<devkit::ReceivedMessage> messages = service->Received();
    const std::lock_guard guard(mutex);
    int hour = 0, minute = 0, second = 0, millisecond = 0;
    std::sscanf(document["started"].get<std::string>().c_str(), "%*d-%*d-%*d %d:%d:%d.%d", &hour,
                &minute, &second, &millisecond);
    const int started = MillisecondOfDay(hour, minute, second, millisecond);
    std::size_t next = 0;
    std::string complaint;
    for (const json& step : document["steps"]) {
      const std::string key = step["step"];
      if (key != "login" && !key.starts_with("send-")) continue;
      if (next == messages.size() || next == arrivals.size()) return key + " never came; ";
      const auto& message = messages[next];
      EXPECT_TRUE(key.ends_with(message.exchange)) << key << message.exchange;
      EXPECT_EQ(step["sent"], message.text.size() + (message.lineFeed ? 1 : 0)) << key;
      const int begin = started + step["begin"].get<int>();
      const int duration = step["milliseconds"];
      if (std::abs(begin - arrivals[next]) > kWithinMs) complaint += key + " begins elsewhere; ";
      if (step["finished"] == true && std::abs(duration - latency) > kWithinMs) {
        complaint += key + " took " + std::to_string(duration) + "; ";
      }
      ++next;
    }
    EXPECT_EQ(next, messages.size());
    return complaint;
  }

  static json StepOf(const json& document, const std::string& key) {
    for (const json& step : document["steps"]) {
      if (step["step"] == key) return step;
    }
    return nullptr;
  }

  // All that belongs to a card and its holder, and what the service has received for it.
  std::vector<std::string> Secrets(const devkit::Card& card) const {
    std::vector<std::string> secrets;
    for (const auto& [name, value] : card.fields) {
      if (!value.empty()) secrets.push_back(value);
    }
    std::vector<devkit::Bytes> blocks = {card.uid, card.dn, card.inputKey, card.outputKey,
                                         card.keyAnswer};
    for (const auto& [id, file] : card.files) blocks.push_back(file);
    for (devkit::Bytes block : blocks) {
      // The first twelve bytes are four whole groups of base64.
      block.resize(std::min<std::size_t>(block.size(), block.size() < 12 ? 8 : 12));
      secrets.push_back(devkit::ToHex(block));
      secrets.push_back(devkit::Base64(block));
      std::string numbers = devkit::ByteArrayText(block);
      secrets.push_back(numbers.substr(1, numbers.size() - 2));
    }
    for (const auto& message : service->Received()) {
      const json received = json::parse(message.text);
      for (const auto& [member, content] : received.items()) {
        if (member == "token") secrets.push_back(content);
        if (member == "data") secrets.push_back(content.dump().substr(1, 20));
      }
    }
    return secrets;
  }
  std::size_t SecretsIn(const std::string& text, const devkit::Card& card) const {
    const std::vector<std::string> secrets = Secrets(card);
    return static_cast<std::size_t>(std::count_if(
        secrets.begin(), secrets.end(),
        [&text](const std::string& secret) { return text.find(secret) != std::string::npos; }));
  }

  // Gives the text in both languages.
  std::string ExpectNoDataAndNoLogs(
      const json& document, const devkit::Card& card,
      const std::function<void()>& prepare = [] {}) const {
    std::string text;
    const std::string svg = folder.ReadFile("trace.svg");
    EXPECT_THAT(svg, HasSubstr("</svg>"));
    EXPECT_EQ(SecretsIn(svg, card), 0u);
    EXPECT_EQ(SecretsIn(document.dump(), card), 0u);
    for (const char* language : {"en", "zh"}) {
      prepare();
      const ChildResult child = Run(std::string("--lang ") + language);
      EXPECT_EQ(SecretsIn(child.output + child.errors, card), 0u) << child.output;
      text += child.output;
    }
    EXPECT_FALSE(fs::exists(folder.Path() / "logdata"));
    return text;
  }

 private:
  void NoteArrival(const std::string& line) {
    if (line.find("accepted") == std::string::npos && line.find("refused") == std::string::npos) {
      return;
    }
    const auto now = idcardreader::platform::SystemClock().Now();
    const std::lock_guard guard(mutex);
    arrivals.push_back(MillisecondOfDay(now.hour, now.minute, now.second, now.millisecond));
  }

  std::mutex mutex;
  std::vector<int> arrivals;  // of the messages, by the service's own clock
};

TEST_F(TraceTest, EachExchangeIsAsTheServiceSawItAndNobodysDataIsTold) {
  constexpr int kLatency = 30;
  ServiceMisbehaves({{"latency", {{"exchange", kLatency}}}});
  for (const char* name : {"resident", "gat", "yjzold", "yjznew", "resident-no-fingerprint"}) {
    SCOPED_TRACE(name);
    desk.Put(name);
    const devkit::Card card = CardOf(name);
    const json document =
        Document([&](const json& each) { return ComparedWithService(each, kLatency); });
    EXPECT_EQ(document["withData"], false);
    EXPECT_EQ(StepOf(document, "file-12")["received"], 256);
    EXPECT_EQ(StepOf(document, "parse")["finished"], true);
    ExpectNoDataAndNoLogs(document, card);

    service->ForgetReceived();
    const ChildResult all = Run("--with-data --lang en --svg trace.svg");
    EXPECT_EQ(all.status, 0);
    EXPECT_THAT(all.output, HasSubstr("not for other people"));
    // Names, numbers, DN, keys, the token and the messages' data, at least.
    EXPECT_GE(SecretsIn(all.output, card), card.fields.size() / 2 + 8);
    // The log shows the reader's answer, whose first two bytes are none of the DN.
    const std::string dn = devkit::ToHex(card.dn).substr(0, 60);
    EXPECT_THAT(all.output, HasSubstr(dn));
    EXPECT_THAT(folder.ReadFile("trace.svg"), HasSubstr(dn));
  }
}

TEST_F(TraceTest, ASlowStepIsTheLongestAndTookAsLong) {
  constexpr int kSlow = 250;
#ifdef _WIN32
  constexpr int kLoadingMs = 100;  // the first opening loads hidapi
#else
  constexpr int kLoadingMs = 0;
#endif
  const auto latency = [&](const char* at) { return json{{"latency", {{at, kSlow}}}}; };
  const struct {
    const char* step;
    json reader, service;
  } rows[] = {{"open", FaultAt("open", "delay", {{"ms", kSlow}}), {}},
              {"authorize", latency("authorize"), {}},
              {"version", latency("version"), {}},
              {"dn", latency("dn"), {}},
              {"input-key", latency("input-key"), {}},
              {"output-key", latency("output-key"), {}},
              {"file-12", FaultAt("file-12", "delay", {{"ms", 90}}), {}},
              {"file-21", FaultAt("file-21", "delay", {{"ms", 90}}), {}},
              {"login", {}, latency("login")},
              {"send-dn", {}, latency("dn")},
              {"send-output-key", {}, latency("output-key")},
              {"send-sector-11", {}, latency("sector-11")},
              {"send-sector-13", {}, latency("sector-13")},
              {"send-sector-21", {}, latency("sector-21")},
              {"content", {}, FaultAt("content", "delay", {{"ms", kSlow}})}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.step);
    desk.Misbehave(row.reader.is_null() ? json::object() : row.reader);
    ServiceMisbehaves(row.service.is_null() ? json::object() : row.service);
    const int expected = std::string_view(row.step).starts_with("file") ? 90 : kSlow;
    const json document = Document([&](const json& each) {
      const json step = StepOf(each, row.step);
      desk.Misbehave(row.reader.is_null() ? json::object() : row.reader);
      if (!step.is_object()) return "not there";
      const int more = step["milliseconds"].get<int>() - expected;
      const bool opening = row.step == std::string_view("open");
      if (more < -kWithinMs || more > kWithinMs + (opening ? kLoadingMs : 0)) {
        return "not as slow as it was";
      }
      // On a busy machine another step may take longer for once.
      return each["longest"]["step"] == row.step ? "" : "another step took longer";
    });
    EXPECT_EQ(document["ok"], true);
    EXPECT_EQ(document["longest"]["step"], row.step);
  }
}

TEST_F(TraceTest, AFailureIsToldWithItsPlaceCodeCauseAndCureAndWithoutData) {
  const struct {
    const char* scenario;
    const char* step;
  } rows[] = {{"10-dn-unanswered", "send-dn"},
              {"22-content-missing", "content"},
              {"28-reader-will-not-open", "open"},
              {"29-service-refuses-connections", "connect-2"},
              {"30-reader-answer-short", nullptr},
              {"40-dn-unreadable", "dn"},
              {"45-output-key-refused", "send-output-key"},
              {"46-service-slow", "await-result"},
              {"47-reader-unplugged", nullptr},
              {"51-login-refused", "login"},
              {"55-content-not-inflatable", "content"}};
  const devkit::Card card = CardOf(kAnyCard);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.scenario);
    const std::string file = std::string(row.scenario) + ".json";
    const json scenario = devkit::ReadJsonFile(SourceFolder() / "devkit" / "scenarios" / file);
    // A fault that passes over good reads has to strike the only one of this program.
    if (scenario.value("goodReadsBefore", 0) > 0) continue;
    const auto play = [&] {
      desk.Misbehave(scenario.value("reader", json::object()));
      ServiceMisbehaves(scenario.value("service", json::object()));
    };
    play();
    const int waits = scenario.value("waits", 0);
    const json document = Document([&](const json& each) -> std::string {
      play();
      const int taken = each["milliseconds"];
      return taken + kWithinMs < waits || taken > waits + kSlack.count() ? "not in its time" : "";
    });
    EXPECT_EQ(document["ok"], false);
    EXPECT_EQ(document["code"], scenario["code"]);
    ASSERT_TRUE(document["failedStep"].is_string());
    const json step = StepOf(document, document["failedStep"]);
    if (row.step != nullptr) {
      EXPECT_EQ(document["failedStep"], row.step);
    } else {
      EXPECT_EQ(step["track"], "reader");
    }
    // The longest wait of all is where it failed, when it waited for that.
    if (waits == 1000) {
      EXPECT_NEAR(step["milliseconds"].get<int>(), waits, kWithinMs + 20);
    }
    EXPECT_FALSE(document["cause"].get<std::string>().empty());
    const std::string text = ExpectNoDataAndNoLogs(document, card, play);
    for (const std::string& part :
         {"Failed at: " + step["name"].get<std::string>(), "code " + scenario["code"].dump() + ": ",
          document["cause"].get<std::string>(), document["hint"].get<std::string>(),
          std::string("失败步骤："), std::string("原因："), std::string("处理：")}) {
      EXPECT_THAT(text, HasSubstr(part));
    }
  }
}

TEST_F(TraceTest, OtherLogsAreLeftAloneAndItsOwnStayWhenLoggingWasOn) {
  // Another process that logs into the same folder: this one.
  EXPECT_EQ(library->readCardLog(1), 1);
  ExpectGoodRead(kAnyCard);
  folder.WriteFile("logdata/20240102-030405006-Server.txt", "of another day\n");
  library->CloseComm();
  const std::vector<std::string> before = folder.Files("logdata");
  const std::string content = folder.AllOf("logdata");
  ASSERT_EQ(before.size(), 3u);
  EXPECT_EQ(Run("").status, 0);
  EXPECT_EQ(folder.Files("logdata"), before);
  EXPECT_EQ(folder.AllOf("logdata"), content);

  folder.WriteFile("conf.yaml", "# settings\ncanLog: true\n");
  const json document = Document([](const json&) { return std::string(); });
  EXPECT_EQ(document["loggingWasOn"], true);
  EXPECT_EQ(folder.Files("logdata").size(), before.size() + 2);
  EXPECT_TRUE(StepOf(document, "parse").is_object());
}

#ifndef _WIN32
// Only here is there a program to interrupt another one.
TEST_F(TraceTest, InterruptedItRemovesItsLogs) {
  ServiceMisbehaves({{"latency", {{"dn", 900}}}});
  folder.WriteFile("trace", "#!/bin/sh\necho $$ >pid\nexec ./readcard trace --json\n");
  fs::permissions(folder.Path() / "trace", fs::perms::owner_all);
  std::future<ChildResult> running = std::async(
      std::launch::async, [this] { return RunProgram(folder.Path().string(), "trace", ""); });
  EXPECT_TRUE(Eventually([this] { return folder.Files("logdata").size() == 2; }));
  std::system(("kill -INT " + folder.ReadFile("pid")).c_str());
  const ChildResult child = running.get();
  EXPECT_EQ(child.status, 1) << child.errors;
  EXPECT_EQ(json::parse(child.output)["stopped"], true);
  EXPECT_FALSE(fs::exists(folder.Path() / "logdata"));
}
#endif

}  // namespace
}  // namespace hosttest
