#include "TavikComputerUseBridge/Shell/DoctorCommand.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "ScriptedSender.h"

namespace tavik {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char* healthy =
    R"({"generationID":"g","runtimePID":42,"bundleIdentifier":"b","bundlePath":"/p","isHealthy":true,"activeClientCount":3})";

class DoctorCommandTest : public ::testing::Test {
 protected:
  ScriptedSender sender;
  RuntimeClient runtime{sender};
  std::ostringstream output;

  int run(std::vector<DesktopFinding> findings, const RequestSenderPort::Outcome& answer) {
    sender.script = [answer](const auto&) { return answer; };
    return DoctorCommand(runtime, output).run(std::move(findings));
  }
};

TEST_F(DoctorCommandTest, saysWhatWorks) {
  EXPECT_EQ(run({{"session bus", true, "connected", ""}}, ScriptedSender::answer(healthy)), 0);
  EXPECT_EQ(output.str(),
            "ok      session bus: connected\n"
            "ok      request to the runtime: answered by process 42, which has 3 clients\n"
            "\n"
            "Nothing is broken.\n");
}

TEST_F(DoctorCommandTest, saysWhatToDoAboutWhatDoesNot) {
  EXPECT_EQ(run({{"X display", false, "none", "Set DISPLAY."}}, ScriptedSender::answer(healthy)), 1);
  EXPECT_THAT(output.str(), StartsWith("BROKEN  X display: none\n        Set DISPLAY.\n"));
  EXPECT_THAT(output.str(), HasSubstr("Broken: 1."));
}

TEST_F(DoctorCommandTest, failsWhenNoRuntimeAnswers) {
  using Failure = RequestSenderPort::Failure;
  EXPECT_EQ(run({}, ScriptedSender::failure(Failure::notReachable, "no such file")), 1);
  EXPECT_THAT(output.str(), HasSubstr("could not be started (no such file)"));
}

TEST_F(DoctorCommandTest, failsWhenTheAnswerOfTheRuntimeIsNoHealthRecord) {
  EXPECT_EQ(run({}, ScriptedSender::answer("[]")), 1);
}

TEST_F(DoctorCommandTest, doesNotCountAsAClientOfTheRuntime) {
  run({}, ScriptedSender::answer(healthy));
  EXPECT_EQ(sender.sent()[0].json, R"({"refreshClientActivity":false})");
}

}  // namespace
}  // namespace tavik
