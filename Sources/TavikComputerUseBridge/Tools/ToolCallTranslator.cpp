#include "TavikComputerUseBridge/Tools/ToolCallTranslator.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>

#include "Base/JSON/Record.h"
#include "Base/JSON/TaggedUnion.h"
#include "ComputerUseContracts/EventStreamRecords.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseContracts/ToolRequests.h"
#include "TavikComputerUseBridge/Tools/ToolArguments.h"

namespace tavik {
namespace {

using Response = RuntimeRequest::Response;

template <class Record>
RuntimeRequest requestFor(const Record& record, Response response = Response::toolResult) {
  return {
      .requestType = std::string(Record::requestType), .data = encodeRecord(record), .response = response};
}

template <class Record>
RuntimeRequest repeatable(const Record& record, Response response = Response::toolResult) {
  RuntimeRequest request = requestFor(record, response);
  request.isRepeatable = true;
  return request;
}

/// The vocabulary of an argument whose number on the wire is its place in the list.
template <std::size_t count>
std::optional<int> placeIn(const std::array<std::string_view, count>& words, std::string_view word) {
  const auto found = std::ranges::find(words, word);
  if (found == words.end()) return std::nullopt;
  return static_cast<int>(found - words.begin());
}

constexpr std::array<std::string_view, 3> mouseButtons = {"left", "right", "middle"};
constexpr std::array<std::string_view, 4> scrollDirections = {"up", "down", "left", "right"};

std::int64_t mouseButton(const ToolArguments& arguments) {
  const std::string word = arguments.text("mouse_button").value_or("left");
  const auto button = placeIn(mouseButtons, word);
  if (!button) throw ToolError::invalidMouseButton(word);
  return *button;
}

std::int64_t scrollDirection(const ToolArguments& arguments) {
  const std::string word = arguments.requiredText("direction");
  const auto direction = placeIn(scrollDirections, word);
  if (!direction) throw ToolError::invalidScrollDirection(word);
  return *direction;
}

std::int64_t elementIndex(const ToolArguments& arguments) {
  return arguments.requiredInteger("element_index");
}

/// The case that a text names; absent when the argument is.
template <class Enumeration>
std::optional<Enumeration> word(const ToolArguments& arguments, const std::string& name) {
  const auto text = arguments.text(name);
  if (!text) return std::nullopt;
  const auto value = fromRawValue<Enumeration>(*text);
  if (!value) throw ToolError::missingExpectedArgument(name);
  return value;
}

RuntimeRequest listApps(const ToolArguments&) {
  return repeatable(ComputerUseIPCListAppsRequest());
}

RuntimeRequest getAppState(const ToolArguments& arguments) {
  return repeatable(ComputerUseIPCAppGetStateRequest{.app = arguments.requiredText("app")});
}

ComputerUseIPCAction click(const ToolArguments& arguments) {
  ClickParams click;
  click.clickCount = arguments.integer("click_count").value_or(1);
  click.mouseButton = mouseButton(arguments);
  if (click.clickCount < 1) throw ToolError::missingExpectedArgument("click_count");
  const bool isAtPoint = arguments.has("x") || arguments.has("y");
  if (arguments.has("element_index") || !isAtPoint) {
    click.elementIndex = elementIndex(arguments);
  } else {
    click.x = arguments.requiredNumber("x");
    click.y = arguments.requiredNumber("y");
  }
  return click;
}

ComputerUseIPCAction scroll(const ToolArguments& arguments) {
  const double pages = arguments.number("pages").value_or(1);
  if (!(pages > 0)) throw ToolError::pagesMustBeGreaterThanZero();
  return ScrollParams{
      .elementIndex = elementIndex(arguments), .direction = scrollDirection(arguments), .pages = pages};
}

ComputerUseIPCAction drag(const ToolArguments& arguments) {
  return DragParams{.fromX = arguments.requiredNumber("from_x"),
                    .fromY = arguments.requiredNumber("from_y"),
                    .toX = arguments.requiredNumber("to_x"),
                    .toY = arguments.requiredNumber("to_y")};
}

ComputerUseIPCAction typeText(const ToolArguments& arguments) {
  const auto text = arguments.text("text");
  if (!text || text->empty()) throw ToolError::missingTextToType();
  return TypeTextParams{.text = *text};
}

ComputerUseIPCAction pressKey(const ToolArguments& arguments) {
  return PressKeyParams{.key = arguments.requiredText("key")};
}

ComputerUseIPCAction setValue(const ToolArguments& arguments) {
  const auto value = arguments.text("value");
  if (!value) throw ToolError::missingRequiredArgument("value");
  return SetValueParams{.elementIndex = elementIndex(arguments), .value = *value};
}

ComputerUseIPCAction selectText(const ToolArguments& arguments) {
  return TextSelectionParams{
      .elementIndex = elementIndex(arguments),
      .text = arguments.requiredText("text"),
      .prefix = arguments.text("prefix"),
      .suffix = arguments.text("suffix"),
      .selection = word<TextSelectionMode>(arguments, "selection").value_or(TextSelectionMode::text)};
}

ComputerUseIPCAction performSecondaryAction(const ToolArguments& arguments) {
  return PerformSecondaryActionParams{.elementIndex = elementIndex(arguments),
                                      .action = arguments.requiredText("action")};
}

std::optional<std::int64_t> maxDuration(const ToolArguments& arguments) {
  try {
    const auto duration = arguments.integer("max_duration_seconds");
    if (!duration || *duration >= 1) return duration;
  } catch (const ToolError&) {
    // No whole number: as little a duration as 0 is.
  }
  throw ToolError::invalidDuration();
}

RuntimeRequest startEventStream(const ToolArguments& arguments) {
  ComputerUseIPCEventStreamStartRequest start;
  start.sessionId = arguments.text("session_id");
  start.maxDurationSeconds = maxDuration(arguments);
  start.screenshotMode = word<ComputerUseIPCEventStreamScreenshotMode>(arguments, "screenshot_mode");
  return requestFor(start, Response::recordingStatus);
}

RuntimeRequest eventStreamStatus(const ToolArguments&) {
  return repeatable(ComputerUseIPCEventStreamStatusRequest(), Response::recordingStatus);
}

RuntimeRequest stopEventStream(const ToolArguments& arguments) {
  using Reason = ComputerUseIPCEventStreamEndReason;
  return requestFor(
      ComputerUseIPCEventStreamStopRequest{word<Reason>(arguments, "reason").value_or(Reason::toolStopped)},
      Response::recordingStatus);
}

using Translation = RuntimeRequest (*)(const ToolArguments&);

/// A translation that asks for an action on the application.
template <ComputerUseIPCAction (*action)(const ToolArguments&)>
RuntimeRequest perform(const ToolArguments& arguments) {
  return requestFor(ComputerUseIPCAppPerformActionRequest{.app = arguments.requiredText("app"),
                                                          .action = action(arguments)});
}

const std::map<std::string_view, Translation> translations = {
    {"list_apps", listApps},
    {"get_app_state", getAppState},
    {"click", perform<click>},
    {"scroll", perform<scroll>},
    {"drag", perform<drag>},
    {"type_text", perform<typeText>},
    {"press_key", perform<pressKey>},
    {"set_value", perform<setValue>},
    {"select_text", perform<selectText>},
    {"perform_secondary_action", perform<performSecondaryAction>},
    {"event_stream_start", startEventStream},
    {"event_stream_status", eventStreamStatus},
    {"event_stream_stop", stopEventStream},
};

}  // namespace

RuntimeRequest translateToolCall(std::string_view tool, const ParsedJSON& arguments) {
  return translations.at(tool)(ToolArguments(arguments));
}

}  // namespace tavik
