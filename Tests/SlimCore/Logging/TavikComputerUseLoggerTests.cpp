#include "SlimCore/Logging/TavikComputerUseLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <random>

#include "Base/Concurrency/Task.h"
#include "Tests/Support/LogCapture.h"

namespace tavik {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

using Logger = TavikComputerUseLogger;

const LogProcessInfo runtime{"TavikComputerUseRuntime", 4242, "/Users/me"};

/// Puts the process into a time zone for the length of a test.
class TimeZone {
 public:
  explicit TimeZone(const char* name) {
    if (const char* value = std::getenv("TZ")) previous_ = value;
    setenv("TZ", name, 1);
    tzset();
  }
  ~TimeZone() {
    if (previous_) {
      setenv("TZ", previous_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

 private:
  std::optional<std::string> previous_;
};

WallTime morning() {
  using namespace std::chrono;
  return sys_days(2026y / March / 5d) + hours(9) + minutes(15) + seconds(30) + milliseconds(250);
}

std::string encode(const LogFields& fields) {
  return Logger::encodeLine(LogLevel::info, LogCategory::capture, "capture_started", fields, morning(), runtime);
}

std::string value(const LogValue& value, std::string_view key) { return Logger::encodeValue(value, key, "/Users/me"); }

TEST(LogLine, hasItsWordsInAFixedOrderAndFieldsByKey) {
  TimeZone zone("CET-1");
  RequestIDScope request("ab12");
  EXPECT_EQ(encode({{"captureId", "7F1C"}, {"backend", "sck-window-image"}}),
            "2026-03-05T10:15:30.250+01:00 level=info process=Runtime pid=4242 category=capture "
            "event=capture_started requestId=ab12 backend=sck-window-image captureId=7F1C\n");
}

TEST(LogLine, anExplicitRequestIdentifierWinsAndAnAbsentOneDoesNot) {
  RequestIDScope request("ab12");
  EXPECT_THAT(encode({{"requestId", "own"}}), AllOf(HasSubstr(" requestId=own"), Not(HasSubstr("ab12"))));
  EXPECT_THAT(encode({{"requestId", std::nullopt}}), HasSubstr(" requestId=ab12 requestId=nil"));
}

TEST(LogLine, aRequestIdentifierWithQuotesIsQuoted) {
  RequestIDScope request("a \"b\"");
  EXPECT_THAT(encode({}), HasSubstr(R"(requestId="a \"b\"")"));
}

TEST(LogLine, namesTheProcessByItsPart) {
  auto processWord = [](const std::string& name) {
    const std::string line =
        Logger::encodeLine(LogLevel::info, LogCategory::ipc, "e", {}, morning(), {name, 1, "/Users/me"});
    return line.substr(line.find("process="), line.find(" pid=") - line.find("process="));
  };
  EXPECT_EQ(processWord("TavikComputerUseBridge"), "process=Bridge");
  EXPECT_EQ(processWord("TavikComputerUseRuntime"), "process=Runtime");
  EXPECT_EQ(processWord("RuntimeBridge"), "process=Bridge");
  EXPECT_EQ(processWord("other tool"), "process=\"other tool\"");
}

TEST(LogLine, fieldsWithBadKeysDisappearWithoutATrace) {
  const std::string line = encode({{"1abc", 1}, {"a b", 2}, {"", 3}, {"_ok", 4}, {"a.b-c", 5}});
  EXPECT_THAT(line, EndsWith(" _ok=4 a.b-c=5\n"));
  EXPECT_THAT(line, Not(HasSubstr("abc")));
}

TEST(LogLine, appDiscoveryIsSpelledWithADash) {
  EXPECT_THAT(Logger::encodeLine(LogLevel::warning, LogCategory::appDiscovery, "e", {}, morning(), runtime),
              HasSubstr(" level=warning process=Runtime pid=4242 category=app-discovery event=e\n"));
}

LogFields manyLongFields(int count) {
  LogFields fields;
  for (int i = 0; i < count; ++i) fields.emplace("k" + std::to_string(100 + i), std::string(1000, 'x'));
  return fields;
}

TEST(LogLine, aLongLineLosesItsLastWordsAndSaysSo) {
  const std::string line = encode(manyLongFields(30));
  EXPECT_LE(line.size(), 16384u);
  EXPECT_THAT(line, EndsWith(" truncated=true\n"));
  EXPECT_THAT(line, HasSubstr(" k100="));
  EXPECT_THAT(line, Not(HasSubstr(" k129=")));
}

TEST(LogLine, ofExactlyTheLimitWithItsLineFeedIsWhole) {
  LogFields fields = manyLongFields(16);
  const std::size_t missing = 16384 - encode(fields).size();
  fields.emplace("z", std::string(missing - 3, 'y'));
  EXPECT_EQ(encode(fields).size(), 16384u);
  EXPECT_THAT(encode(fields), Not(HasSubstr("truncated")));
  fields.insert_or_assign("z", LogValue(std::string(missing - 2, 'y')));
  EXPECT_THAT(encode(fields), EndsWith(" truncated=true\n"));
}

TEST(LogLine, keepsItsFirstSixWordsWhateverTheirSize) {
  const std::string event(1020, 'e');
  LogProcessInfo huge{std::string(1020, 'p'), 1, ""};
  const std::string line = Logger::encodeLine(LogLevel::info, LogCategory::ipc, event, manyLongFields(40), morning(), huge);
  EXPECT_LE(line.size(), 16384u);
  EXPECT_THAT(line, HasSubstr("event=" + event));

  std::string families;
  for (int i = 0; i < 1020; ++i) families += "👩‍👩‍👧‍👦";
  for (const LogFields& fields : {LogFields{}, manyLongFields(2)}) {
    const std::string large = Logger::encodeLine(LogLevel::info, LogCategory::ipc, families, fields, morning(), huge);
    EXPECT_GT(large.size(), 16384u);
    EXPECT_THAT(large, EndsWith("event=" + families + " truncated=true\n"));
  }
}

TEST(LogValueEncoding, anErrorTextIsRedactedAndAnErrorObjectGivesTypeDomainAndCode) {
  EXPECT_EQ(value("password is 123", "error"), "[redacted-string-error]");
  EXPECT_EQ(value("password is 123", "Error"), "[redacted-string-error]");
  EXPECT_EQ(value(LoggedError{"UIElementError", "Tavik.UIElementError", 3}, "error"),
            "\"UIElementError(domain=Tavik.UIElementError,code=3)\"");
  EXPECT_EQ(value("x", "errorText"), "x");
}

TEST(LogValueEncoding, sensitiveKeysAreRedactedBySubstringInAnyCase) {
  EXPECT_EQ(value(12, "userTextLength"), "[redacted]");
  EXPECT_EQ(value(12, "tokenCount"), "[redacted]");
  EXPECT_EQ(value(std::nullopt, "PASSWORD"), "[redacted]");
  EXPECT_EQ(value("x", "axTreeText"), "[redacted]");
  EXPECT_EQ(value("/Users/me/secret", "secretPath"), "[redacted]");
  EXPECT_EQ(value("x", "errorToken"), "[redacted]");
}

TEST(LogValueEncoding, plainValues) {
  EXPECT_EQ(value(std::nullopt, "k"), "nil");
  EXPECT_EQ(value(true, "k"), "true");
  EXPECT_EQ(value(false, "k"), "false");
  EXPECT_EQ(value(-7, "k"), "-7");
  EXPECT_EQ(value(0.5, "k"), "0.5");
  EXPECT_EQ(value(2.0, "k"), "2.0");
  EXPECT_EQ(value(std::optional<int>(), "k"), "nil");
  EXPECT_EQ(value(std::optional<int>(4), "k"), "4");
}

TEST(LogValueEncoding, pathsBelowTheHomeDirectoryAreShortened) {
  EXPECT_EQ(value("/Users/me/x", "logPath"), "~/x");
  EXPECT_EQ(value("/Users/me", "logPath"), "~");
  EXPECT_EQ(value("/Users/melanie/x", "logPath"), "/Users/melanie/x");
  EXPECT_EQ(value("/Users/me/x", "file"), "/Users/me/x");
}

TEST(LogValueEncoding, aValueOfMoreThan1024CharactersIsCutAndGetsAnEllipsis) {
  EXPECT_EQ(value(std::string(1024, 'a'), "k"), std::string(1024, 'a'));
  EXPECT_EQ(value(std::string(1025, 'a'), "k"), std::string(1024, 'a') + "…");
  std::string accented;
  for (int i = 0; i < 1024; ++i) accented += "e\u0301";
  EXPECT_EQ(value(accented, "k"), accented);
}

TEST(LogValueEncoding, lineBreaksStayOnTheLine) {
  EXPECT_EQ(value("a\r\nb", "k"), R"("a\\r\\nb")");
}

TEST(LogValueEncoding, quotesWhatCouldBeReadWrong) {
  EXPECT_EQ(value("", "k"), "\"\"");
  EXPECT_EQ(value("a b", "k"), "\"a b\"");
  EXPECT_EQ(value("a=b", "k"), "\"a=b\"");
  EXPECT_EQ(value("a\"b", "k"), R"("a\"b")");
  EXPECT_EQ(value("a\\b", "k"), R"("a\\b")");
  EXPECT_EQ(value("a\u00A0b", "k"), "\"a\u00A0b\"");
  EXPECT_EQ(value("plain-word", "k"), "plain-word");
}

TEST(LogValueEncoding, illFormedTextIsRepaired) { EXPECT_EQ(value("a\xFF" "b", "k"), "a\uFFFD" "b"); }

TEST(LogValueEncoding, noValueOfASensitiveKeyEverReachesALine) {
  const std::vector<std::string> parts = {"password",    "token",            "secret", "clipboard",
                                          "base64",      "requestdata",      "requestarguments",
                                          "axtree",      "screenshotcontent", "usertext"};
  std::mt19937 random(1);
  const std::string canary = "CANARY";
  for (int round = 0; round < 2000; ++round) {
    std::string key = "k";
    for (std::uint32_t i = random() % 6; i > 0; --i) key += static_cast<char>('a' + random() % 26);
    for (char c : parts[random() % parts.size()]) {
      key += random() % 2 ? c : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    for (std::uint32_t i = random() % 6; i > 0; --i) key += static_cast<char>('a' + random() % 26);
    ASSERT_THAT(encode({{key, canary}}), Not(HasSubstr(canary))) << key;
  }
}

/// Records what reaches the system's log, at levels that the test sets.
class RecordingSystemLog : public SystemLogPort {
 public:
  bool isEnabled(const std::string&, const std::string&, Level) override { return enabled; }
  void log(const std::string& subsystem, const std::string& category, Level level, const std::string& line) override {
    lines.push_back(subsystem + "|" + category + "|" + std::to_string(static_cast<int>(level)) + "|" + line);
  }
  bool enabled = true;
  std::vector<std::string> lines;
};

class LoggerTest : public ::testing::Test {
 protected:
  LoggerTest() {
    LogEnvironment environment;
    environment.variable = [this](const std::string& name) -> std::optional<std::string> {
      auto value = variables.find(name);
      return value == variables.end() ? std::nullopt : std::optional(value->second);
    };
    environment.now = [this] { return now; };
    environment.process = runtime;
    environment.systemLog = &systemLog;
    environment.observer = [this](const LogRecord& record) {
      auto held = record.fields.find("suppressedCount");
      suppressed.push_back(held == record.fields.end() ? -1 : std::get<std::int64_t>(held->second.storage()));
    };
    previous = Logger::install(std::move(environment));
    variables["TAVIK_COMPUTER_USE_LOG_LEVEL"] = "fault";
  }
  ~LoggerTest() override { Logger::install(std::move(previous)); }

  std::map<std::string, std::string> variables;
  WallTime now = morning();
  RecordingSystemLog systemLog;
  std::vector<std::int64_t> suppressed;
  LogEnvironment previous;
};

TEST_F(LoggerTest, mirrorsFromTheConfiguredLevelOnAndReadsItAnewEachTime) {
  Logger::debug(LogCategory::ipc, "quiet");
  EXPECT_TRUE(systemLog.lines.empty());
  variables["TAVIK_COMPUTER_USE_OSLOG_MIRROR_LEVEL"] = "WARNING ";
  Logger::info(LogCategory::ipc, "still_quiet");
  EXPECT_TRUE(systemLog.lines.empty());
  Logger::warning(LogCategory::ipc, "heard");
  ASSERT_EQ(systemLog.lines.size(), 1u);
  EXPECT_THAT(systemLog.lines[0], StartsWith("com.tavik.computeruse|ipc|2|2026-03-05T"));
  EXPECT_THAT(systemLog.lines[0], EndsWith("event=heard"));
}

TEST_F(LoggerTest, anUnknownLevelIsUnderstoodAsInfo) {
  variables["TAVIK_COMPUTER_USE_OSLOG_MIRROR_LEVEL"] = "loud";
  Logger::debug(LogCategory::ipc, "quiet");
  Logger::info(LogCategory::ipc, "heard");
  EXPECT_EQ(systemLog.lines.size(), 1u);
}

TEST_F(LoggerTest, aTypeThatTheSystemLogDoesNotWantIsNotMirrored) {
  systemLog.enabled = false;
  Logger::fault(LogCategory::ipc, "unwanted");
  EXPECT_TRUE(systemLog.lines.empty());
}

TEST_F(LoggerTest, aRateLimitedWarningCountsWhatItHeldBack) {
  auto warn = [] { Logger::rateLimitedWarning(LogCategory::windows, "rate_test_a", 10); };
  warn();
  now += std::chrono::seconds(5);
  warn();
  warn();
  now += std::chrono::seconds(5);
  warn();
  now += std::chrono::seconds(10);
  warn();
  EXPECT_THAT(suppressed, ElementsAre(-1, 2, -1));
}

TEST_F(LoggerTest, aRateLimitIsAtLeastOneSecondAndKeptForEachCategoryAndEvent) {
  Logger::rateLimitedWarning(LogCategory::windows, "rate_test_b", 0);
  now += std::chrono::milliseconds(900);
  Logger::rateLimitedWarning(LogCategory::windows, "rate_test_b", 0);
  Logger::rateLimitedWarning(LogCategory::capture, "rate_test_b", 0);
  Logger::rateLimitedWarning(LogCategory::windows, "rate_test_c", 0);
  EXPECT_EQ(suppressed.size(), 3u);
  now += std::chrono::milliseconds(100);
  Logger::rateLimitedWarning(LogCategory::windows, "rate_test_b", 0);
  EXPECT_EQ(suppressed.back(), 1);
}

TEST(LogCaptureTest, seesRecordsOfEveryLevelWithTheirRequest) {
  LogCapture capture;
  RequestIDScope request("r1");
  Logger::debug(LogCategory::ipc, "seen", {{"pid", 3}, {"name", "x"}});
  const CapturedRecord record = capture.only("seen");
  EXPECT_EQ(record.level, LogLevel::debug);
  EXPECT_EQ(record.fields.at("pid"), "3");
  EXPECT_EQ(record.requestID, "r1");
}

TEST(LoggedErrorTest, namesTheTypeOfAnyException) {
  EXPECT_EQ(LoggedError::describing(std::out_of_range("secret words")).typeName, "std::out_of_range");
  EXPECT_EQ(LoggedError::describing(std::make_exception_ptr(5)).typeName, "unknown");
}

}  // namespace
}  // namespace tavik
