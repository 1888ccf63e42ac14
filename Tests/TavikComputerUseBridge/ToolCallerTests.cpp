#include "TavikComputerUseBridge/Tools/ToolCaller.h"

#include <gtest/gtest.h>

#include "Base/Concurrency/SimulatedScheduler.h"
#include "ScriptedSender.h"

namespace tavik {
namespace {

class ToolCallerTest : public ::testing::Test {
 protected:
  SimulatedScheduler scheduler;
  ScriptedSender sender;
  RuntimeClient runtime{sender};
  ToolCatalogue catalogue{"ctrl"};
  ToolCaller caller{catalogue, scheduler, runtime};

  ToolResult call(const std::string& tool, std::string_view answer) {
    sender.script = [answer](const auto&) { return ScriptedSender::answer(answer); };
    return caller.call(tool, ParsedJSON::object());
  }
};

TEST_F(ToolCallerTest, givesTheStatusOfARecordingAsItsJSON) {
  constexpr const char* status =
      R"({"isRecording":false,"eventCount":0,"suppressedEventCount":0,"maxDurationSeconds":1800,"screenshotMode":"off"})";
  EXPECT_EQ(call("event_stream_status", status), ToolResult::text(status));
}

TEST_F(ToolCallerTest, givesTheToolErrorThatARecordingWasAnsweredWith) {
  EXPECT_EQ(
      call("event_stream_start", R"({"content":[{"type":"text","text":"Invalid duration"}],"isError":true})"),
      ToolResult::error("Invalid duration"));
}

TEST_F(ToolCallerTest, saysSoWhenTheAnswerIsNoRecord) {
  for (const char* answer : {"", "garbage", "{}", "[1]", R"({"content":7,"isError":false})"}) {
    EXPECT_EQ(call("list_apps", answer),
              ToolResult::error("IPC error: the runtime's answer could not be read"))
        << answer;
  }
}

TEST_F(ToolCallerTest, givesAFailureOfTheTransportAsAResult) {
  sender.script = [](const auto&) { return ScriptedSender::errorNumber(-10016, "rateLimited"); };
  EXPECT_EQ(caller.call("list_apps", ParsedJSON::object()),
            ToolResult::error(
                "IPC error: too many requests are in progress. Wait for one to finish, then call again."));
}

}  // namespace
}  // namespace tavik
