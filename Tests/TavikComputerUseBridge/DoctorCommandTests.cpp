#include "TavikComputerUseBridge/Shell/DoctorCommand.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "ScriptedSender.h"

namespace tavik {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using Verdict = DesktopFinding::Verdict;

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

TEST_F(DoctorCommandTest, saysWhatWorksAndWhatToDoAboutTheRest) {
  const std::vector<DesktopFinding> findings = {
      {"Session bus", Verdict::works, "connected", ""},
      {"Composite", Verdict::limited, "missing", "Update the X server."},
  };
  EXPECT_EQ(run(findings, ScriptedSender::answer(healthy)), 0);
  EXPECT_EQ(output.str(),
            "ok       Session bus: connected\n"
            "limited  Composite: missing\n"
            "           Update the X server.\n"
            "ok       Runtime: answers, process 42, 3 clients in the last minutes\n"
            "\n"
            "Nothing is broken.\n");
}

TEST_F(DoctorCommandTest, failsWhenSomethingIsBroken) {
  EXPECT_EQ(run({{"Display", Verdict::broken, "none", "Set DISPLAY."}}, ScriptedSender::answer(healthy)), 1);
  EXPECT_THAT(output.str(), StartsWith("BROKEN   Display: none\n           Set DISPLAY.\n"));
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
