#include "TavikComputerUseBridge/Tools/ToolCallTranslator.h"

#include <gtest/gtest.h>

#include "ComputerUseContracts/ToolError.h"
#include "TavikComputerUseBridge/Tools/ToolCatalogue.h"

namespace tavik {
namespace {

/// The record that a call becomes: its type, a blank and its JSON.
std::string recordOf(std::string_view tool, std::string_view arguments) {
  const RuntimeRequest request = translateToolCall(tool, ParsedJSON::parse(arguments));
  return request.requestType + " " + nlohmann::json::parse(textOf(request.data)).dump();
}

/// What a model reads about a mistake in the arguments.
std::string mistakeIn(std::string_view tool, std::string_view arguments) {
  try {
    translateToolCall(tool, ParsedJSON::parse(arguments));
  } catch (const ToolError& error) {
    return error.description();
  }
  return "no mistake";
}

std::string action(std::string_view json) {
  return R"(ComputerUseIPCAppPerformActionRequest {"action":)" + std::string(json) + R"(,"app":"a"})";
}

TEST(ToolCallTranslator, translatesReading) {
  EXPECT_EQ(recordOf("list_apps", "{}"), "ComputerUseIPCListAppsRequest {}");
  EXPECT_EQ(recordOf("get_app_state", R"({"app":"a"})"), R"(ComputerUseIPCAppGetStateRequest {"app":"a"})");
}

TEST(ToolCallTranslator, translatesClicks) {
  EXPECT_EQ(recordOf("click", R"({"app":"a","element_index":7})"),
            action(R"({"click":{"_0":{"clickCount":1,"elementIndex":7,"mouseButton":0}}})"));
  EXPECT_EQ(recordOf("click", R"({"app":"a","x":1.5,"y":2,"click_count":2,"mouse_button":"right"})"),
            action(R"({"click":{"_0":{"clickCount":2,"mouseButton":1,"x":1.5,"y":2}}})"));
  EXPECT_EQ(recordOf("click", R"({"app":"a","element_index":0,"mouse_button":"middle"})"),
            action(R"({"click":{"_0":{"clickCount":1,"elementIndex":0,"mouseButton":2}}})"));
}

TEST(ToolCallTranslator, translatesScrolls) {
  EXPECT_EQ(recordOf("scroll", R"({"app":"a","element_index":3,"direction":"up"})"),
            action(R"({"scroll":{"_0":{"direction":0,"elementIndex":3,"pages":1}}})"));
  EXPECT_EQ(recordOf("scroll", R"({"app":"a","element_index":3,"direction":"right","pages":0.5})"),
            action(R"({"scroll":{"_0":{"direction":3,"elementIndex":3,"pages":0.5}}})"));
}

TEST(ToolCallTranslator, translatesTheOtherActions) {
  EXPECT_EQ(recordOf("drag", R"({"app":"a","from_x":1,"from_y":2,"to_x":3,"to_y":4})"),
            action(R"({"drag":{"_0":{"fromX":1,"fromY":2,"toX":3,"toY":4}}})"));
  EXPECT_EQ(recordOf("type_text", R"({"app":"a","text":" "})"),
            action(R"({"typeText":{"_0":{"text":" "}}})"));
  EXPECT_EQ(recordOf("press_key", R"({"app":"a","key":"ctrl+a"})"),
            action(R"({"pressKey":{"_0":{"key":"ctrl+a"}}})"));
  EXPECT_EQ(recordOf("set_value", R"({"app":"a","element_index":3,"value":""})"),
            action(R"({"setValue":{"_0":{"elementIndex":3,"value":""}}})"));
  EXPECT_EQ(recordOf("perform_secondary_action", R"({"app":"a","element_index":3,"action":"Show Menu"})"),
            action(R"({"performSecondaryAction":{"_0":{"action":"Show Menu","elementIndex":3}}})"));
}

TEST(ToolCallTranslator, translatesSelections) {
  EXPECT_EQ(recordOf("select_text", R"({"app":"a","element_index":3,"text":"t"})"),
            action(R"({"selectText":{"_0":{"elementIndex":3,"selection":"text","text":"t"}}})"));
  EXPECT_EQ(
      recordOf(
          "select_text",
          R"({"app":"a","element_index":3,"text":"t","prefix":"p","suffix":"s","selection":"cursor_after"})"),
      action(
          R"({"selectText":{"_0":{"elementIndex":3,"prefix":"p","selection":"cursor_after","suffix":"s","text":"t"}}})"));
}

TEST(ToolCallTranslator, translatesRecording) {
  EXPECT_EQ(recordOf("event_stream_start", "{}"), "ComputerUseIPCEventStreamStartRequest {}");
  EXPECT_EQ(
      recordOf("event_stream_start",
               R"({"max_duration_seconds":60,"screenshot_mode":"window_changes","session_id":"s"})"),
      R"(ComputerUseIPCEventStreamStartRequest {"maxDurationSeconds":60,"screenshotMode":"window_changes","sessionId":"s"})");
  EXPECT_EQ(recordOf("event_stream_status", "{}"), "ComputerUseIPCEventStreamStatusRequest {}");
  EXPECT_EQ(recordOf("event_stream_stop", "{}"),
            R"(ComputerUseIPCEventStreamStopRequest {"reason":"toolStopped"})");
  EXPECT_EQ(recordOf("event_stream_stop", R"({"reason":"userStoppedSession"})"),
            R"(ComputerUseIPCEventStreamStopRequest {"reason":"userStoppedSession"})");
}

TEST(ToolCallTranslator, namesAMissingArgument) {
  EXPECT_EQ(mistakeIn("get_app_state", "{}"), "Missing required argument: app");
  EXPECT_EQ(mistakeIn("get_app_state", R"({"app":""})"), "Missing required argument: app");
  EXPECT_EQ(mistakeIn("get_app_state", R"({"app":null})"), "Missing required argument: app");
  EXPECT_EQ(mistakeIn("click", R"({"app":"a"})"), "Missing required argument: element_index");
  EXPECT_EQ(mistakeIn("click", R"({"app":"a","x":1})"), "Missing required argument: y");
  EXPECT_EQ(mistakeIn("click", R"({"app":"a","y":1})"), "Missing required argument: x");
  EXPECT_EQ(mistakeIn("scroll", R"({"app":"a","direction":"up"})"),
            "Missing required argument: element_index");
  EXPECT_EQ(mistakeIn("scroll", R"({"app":"a","element_index":1})"), "Missing required argument: direction");
  EXPECT_EQ(mistakeIn("drag", R"({"app":"a","from_x":1,"from_y":2,"to_x":3})"),
            "Missing required argument: to_y");
  EXPECT_EQ(mistakeIn("press_key", R"({"app":"a"})"), "Missing required argument: key");
  EXPECT_EQ(mistakeIn("set_value", R"({"app":"a","element_index":1})"), "Missing required argument: value");
  EXPECT_EQ(mistakeIn("select_text", R"({"app":"a","element_index":1})"), "Missing required argument: text");
  EXPECT_EQ(mistakeIn("perform_secondary_action", R"({"app":"a","element_index":1})"),
            "Missing required argument: action");
}

TEST(ToolCallTranslator, namesAnArgumentOfTheWrongKind) {
  EXPECT_EQ(mistakeIn("get_app_state", R"({"app":7})"), "Missing expected argument 'app'");
  EXPECT_EQ(mistakeIn("click", R"({"app":"a","element_index":"seven"})"),
            "Missing expected argument 'element_index'");
  EXPECT_EQ(mistakeIn("click", R"({"app":"a","element_index":1.5})"),
            "Missing expected argument 'element_index'");
  EXPECT_EQ(mistakeIn("click", R"({"app":"a","element_index":1e300})"),
            "Missing expected argument 'element_index'");
  EXPECT_EQ(mistakeIn("click", R"({"app":"a","element_index":1,"click_count":0})"),
            "Missing expected argument 'click_count'");
  EXPECT_EQ(mistakeIn("click", R"({"app":"a","x":[],"y":1})"), "Missing expected argument 'x'");
  EXPECT_EQ(mistakeIn("select_text", R"({"app":"a","element_index":1,"text":"t","selection":"all"})"),
            "Missing expected argument 'selection'");
  EXPECT_EQ(mistakeIn("event_stream_start", R"({"screenshot_mode":"always"})"),
            "Missing expected argument 'screenshot_mode'");
  EXPECT_EQ(mistakeIn("event_stream_stop", R"({"reason":"bored"})"), "Missing expected argument 'reason'");
}

TEST(ToolCallTranslator, namesAWordOutsideItsVocabulary) {
  EXPECT_EQ(mistakeIn("click", R"({"app":"a","element_index":1,"mouse_button":"fourth"})"),
            "Invalid mouse button: fourth");
  EXPECT_EQ(mistakeIn("scroll", R"({"app":"a","element_index":1,"direction":"north"})"),
            "Invalid scroll direction: north");
}

TEST(ToolCallTranslator, wantsPagesAboveZero) {
  for (const char* pages : {"0", "-1", "-0.5"}) {
    EXPECT_EQ(mistakeIn("scroll", R"({"app":"a","element_index":1,"direction":"up","pages":)" +
                                      std::string(pages) + "}"),
              "pages must be > 0");
  }
}

TEST(ToolCallTranslator, wantsTextToType) {
  EXPECT_EQ(mistakeIn("type_text", R"({"app":"a"})"), "Missing text to type");
  EXPECT_EQ(mistakeIn("type_text", R"({"app":"a","text":""})"), "Missing text to type");
}

TEST(ToolCallTranslator, wantsADurationOfAtLeastASecond) {
  EXPECT_EQ(mistakeIn("event_stream_start", R"({"max_duration_seconds":0})"), "Invalid duration");
  EXPECT_EQ(mistakeIn("event_stream_start", R"({"max_duration_seconds":"soon"})"), "Invalid duration");
  EXPECT_EQ(mistakeIn("event_stream_start", R"({"max_duration_seconds":1.5})"), "Invalid duration");
}

TEST(ToolCallTranslator, takesNumbersWrittenAsText) {
  EXPECT_EQ(recordOf("click", R"({"app":"a","element_index":"7","click_count":"2"})"),
            action(R"({"click":{"_0":{"clickCount":2,"elementIndex":7,"mouseButton":0}}})"));
}

TEST(ToolCallTranslator, prefersTheElementToAPoint) {
  EXPECT_EQ(recordOf("click", R"({"app":"a","element_index":7,"x":1})"),
            action(R"({"click":{"_0":{"clickCount":1,"elementIndex":7,"mouseButton":0}}})"));
}

TEST(ToolCallTranslator, translatesEveryToolOfTheCatalogue) {
  const auto everything = ParsedJSON::parse(
      R"({"app":"a","element_index":1,"direction":"up","from_x":1,"from_y":1,"to_x":1,"to_y":1,"text":"t","key":"k",)"
      R"("value":"v","action":"Press"})");
  const ToolCatalogue catalogue("ctrl");
  for (const ToolDescription& tool : catalogue.tools()) {
    EXPECT_FALSE(translateToolCall(tool.name, everything).requestType.empty()) << tool.name;
  }
}

TEST(ToolCallTranslator, onlyReadingMayBeRepeated) {
  const auto isRepeatable = [](std::string_view tool, std::string_view arguments) {
    return translateToolCall(tool, ParsedJSON::parse(arguments)).isRepeatable;
  };
  EXPECT_TRUE(isRepeatable("list_apps", "{}"));
  EXPECT_TRUE(isRepeatable("get_app_state", R"({"app":"a"})"));
  EXPECT_TRUE(isRepeatable("event_stream_status", "{}"));
  EXPECT_FALSE(isRepeatable("press_key", R"({"app":"a","key":"a"})"));
  EXPECT_FALSE(isRepeatable("event_stream_start", "{}"));
  EXPECT_FALSE(isRepeatable("event_stream_stop", "{}"));
}

}  // namespace
}  // namespace tavik
