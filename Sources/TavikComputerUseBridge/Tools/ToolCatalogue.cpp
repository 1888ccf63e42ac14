#include "TavikComputerUseBridge/Tools/ToolCatalogue.h"

#include <fmt/format.h>

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace tavik {
namespace {

/// An object schema; a property that is `required` has to be there.
struct ObjectSchema {
  JSON properties = JSON::object();
  JSON requiredNames = JSON::array();

  ObjectSchema& required(const std::string& name, JSON schema) {
    requiredNames.push_back(name);
    return optional(name, std::move(schema));
  }
  ObjectSchema& optional(const std::string& name, JSON schema) {
    properties[name] = std::move(schema);
    return *this;
  }
  operator JSON() const {
    return {{"type", "object"},
            {"properties", properties},
            {"required", requiredNames},
            {"additionalProperties", false}};
  }
};

JSON text(const std::string& description) {
  return {{"type", "string"}, {"description", description}};
}

JSON number(const std::string& description) {
  return {{"type", "number"}, {"description", description}};
}

JSON integer(int minimum, const std::string& description) {
  return {{"type", "integer"}, {"minimum", minimum}, {"description", description}};
}

JSON choice(std::initializer_list<const char*> values, const std::string& description) {
  return {{"type", "string"},
          {"enum", std::vector<std::string>(values.begin(), values.end())},
          {"description", description}};
}

JSON withDefault(JSON schema, JSON value) {
  schema["default"] = std::move(value);
  return schema;
}

JSON app() {
  return text("The application: its name or its identifier, as list_apps gives them.");
}

JSON elementIndex() {
  return integer(0, "The number at the start of the element's line in the latest state of this application.");
}

std::string instructions(const std::string& shortcutModifier) {
  return fmt::format(
      R"(These tools read and operate the desktop applications of this computer in the background: the user's pointer, keyboard focus and front window stay where they are.

How to work
1. list_apps names the applications. get_app_state shows one of them: a screenshot of its window, and its elements, one a line. The number at the start of a line is the element_index.
2. Read the state before the first action on an application. An action on another application than the one last read is refused.
3. Every action answers with the new state. An element_index lives only until the next state: always take it from the latest one, never from memory.
4. Prefer element_index to coordinates. Coordinates are pixels of the latest screenshot of this application, counted from its top left corner.
5. Look at the new state before you say that something is done: success of a call means that the action was delivered.
6. Shortcuts on this desktop use {0}: press_key with "{0}+c" copies.

What a refusal means
- "No active app state. Call get_app_state first." Nothing was read yet.
- "The user changed ..." or "Re-query the latest state": what you saw is out of date. Call get_app_state, then decide anew.
- "Element not found ...": the index is not in the latest state.
- A refusal because the user is working in the application: wait a little, read the state again, and do not fight over the window.
- "App not found: ...": take one of the candidates that follow, or call list_apps.
- Terminals, password managers and security agents are never operated. Do not look for a way around; tell the user.
- Permissions that are still pending: wait briefly and call the same tool again.
- "IPC error: ...": the tools themselves could not be reached or stopped half-way. After an action, call get_app_state to see whether it happened before you repeat it.)",
      shortcutModifier);
}

std::vector<ToolDescription> describeTools(const std::string& shortcutModifier) {
  std::vector<ToolDescription> tools;

  tools.push_back({
      .name = "list_apps",
      .title = "List applications",
      .description =
          "Lists the applications of this computer, one a line: name, identifier, and whether it runs or "
          "is in front. Use a name or an identifier from here as the app of the other tools.",
      .inputSchema = ObjectSchema(),
      .isReadOnly = true,
  });
  tools.push_back({
      .name = "get_app_state",
      .title = "Read an application",
      .description =
          "Reads an application: a screenshot of its window and its elements, one a line, indented as "
          "they are nested. A line begins with the element_index and goes on with the role, the title, "
          "the value, the possible secondary actions and what is special, such as (disabled) or "
          "(selected). An application that does not run is started in the background. Call this before "
          "the first action on an application and whenever an action is refused because the state is out of date. Indices of "
          "earlier states no longer hold afterwards. The application stays in the background.",
      .inputSchema = ObjectSchema().required("app", app()),
      .isReadOnly = true,
  });
  tools.push_back({
      .name = "click",
      .title = "Click",
      .description = "Clicks an element, by its element_index, or a point of the latest screenshot, by x and "
                     "y. Give one of the two; the element_index is more reliable. The user's pointer "
                     "does not move. Answers with the new state. \"Mouse action not supported for menu "
                     "items\": use a plain left click, or perform_secondary_action. \"No visible target "
                     "window\": the point lies outside the application's windows.",
      .inputSchema = ObjectSchema()
                         .required("app", app())
                         .optional("element_index", elementIndex())
                         .optional("x", number("Pixels from the left edge of the latest screenshot."))
                         .optional("y", number("Pixels from the top edge of the latest screenshot."))
                         .optional("click_count",
                                   withDefault(integer(1, "2 for a double click, 3 for a triple click; 100 at most."), 1))
                         .optional("mouse_button",
                                   withDefault(choice({"left", "right", "middle"}, "The button."), "left")),
  });
  tools.push_back({
      .name = "scroll",
      .title = "Scroll",
      .description =
          "Scrolls the element, or the scroll area around it, by pages. Answers with the new state. Read "
          "it before you scroll on: at the end of the content it no longer changes.",
      .inputSchema =
          ObjectSchema()
              .required("app", app())
              .required("element_index", elementIndex())
              .required("direction", choice({"up", "down", "left", "right"}, "Where the view moves to."))
              .optional("pages", withDefault({{"type", "number"},
                                              {"exclusiveMinimum", 0},
                                              {"description", "How many pages; 0.5 is half a page."}},
                                             1)),
  });
  tools.push_back({
      .name = "drag",
      .title = "Drag",
      .description =
          "Drags with the left button from one point of the latest screenshot to another. The first "
          "point must lie in a window of the application. To select text use select_text, to move a "
          "slider prefer set_value. Answers with the new state.",
      .inputSchema =
          ObjectSchema()
              .required("app", app())
              .required("from_x", number("Start: pixels from the left edge of the latest screenshot."))
              .required("from_y", number("Start: pixels from its top edge."))
              .required("to_x", number("End: pixels from its left edge."))
              .required("to_y", number("End: pixels from its top edge.")),
  });
  tools.push_back({
      .name = "type_text",
      .title = "Type text",
      .description =
          "Types text with the keyboard into the focused element of the application, which the state "
          "names in the line \"The focused UI element is ...\". Click the field first when another "
          "element has the focus. What is selected is replaced. To replace the whole content of a field, "
          "set_value is safer. A text of more than 500 characters may take longer than a request may: "
          "type it in parts. \"The user changed ...\": the focus moved since the state was read; "
          "nothing was typed. Answers with the new state.",
      .inputSchema =
          ObjectSchema()
              .required("app", app())
              .required("text",
                        {{"type", "string"}, {"minLength", 1}, {"description", "Typed as it stands."}}),
  });
  tools.push_back({
      .name = "press_key",
      .title = "Press a key",
      .description = fmt::format("Presses a key, or keys together joined by \"+\", in the application: "
                                 "\"Return\", \"Tab\", \"Escape\", \"BackSpace\", \"Delete\", "
                                 "\"Page_Down\", \"Up\", \"F5\", \"a\", \"{0}+a\", \"{0}+shift+s\". Keys "
                                 "have their X keysym names. The modifiers are ctrl, alt, shift and "
                                 "super; shortcuts on this desktop use {0}. The plus sign itself is "
                                 "\"plus\". \"Unknown key name\": the name is not known; nothing was "
                                 "pressed. Answers with the new state.",
                                 shortcutModifier),
      .inputSchema = ObjectSchema()
                         .required("app", app())
                         .required("key", text("The key or the combination, such as \"Return\" or \"" +
                                               shortcutModifier + "+c\".")),
  });
  tools.push_back({
      .name = "set_value",
      .title = "Set a value",
      .description = "Writes the whole value of an element that the state marks as settable: a text field, a "
                     "slider, a spin button. \"Cannot set a value for an element that is not settable\": "
                     "click it and type instead. \"Set value did not take effect\": the application "
                     "refused it; the present value follows. Answers with the new state.",
      .inputSchema =
          ObjectSchema()
              .required("app", app())
              .required("element_index", elementIndex())
              .required("value", text("The new value; numbers are written as text, such as \"42\".")),
  });
  tools.push_back({
      .name = "select_text",
      .title = "Select text",
      .description = "Selects a piece of an element's text, or puts the cursor before or behind it. The "
                     "piece must occur exactly once; when it occurs more often, say with prefix and "
                     "suffix what stands directly before and behind the one you mean. \"Could not find "
                     "the requested text\": it is not there, or not only once. Answers with the new "
                     "state.",
      .inputSchema =
          ObjectSchema()
              .required("app", app())
              .required("element_index", elementIndex())
              .required("text",
                        {{"type", "string"}, {"minLength", 1}, {"description", "The piece, to the letter."}})
              .optional("prefix", text("What stands directly before it."))
              .optional("suffix", text("What stands directly behind it."))
              .optional("selection", withDefault(choice({"text", "cursor_before", "cursor_after"},
                                                        "Select the piece, or only put the cursor there."),
                                                 "text")),
  });
  tools.push_back({
      .name = "perform_secondary_action",
      .title = "Perform a secondary action",
      .description = "Performs one of the actions that the element's line lists as its secondary actions, by "
                     "its name there, such as \"Show Menu\", \"Increment\" or \"Pick\". \"... is not a "
                     "valid secondary action\": the element does not offer it; take a name from its "
                     "line. Answers with the new state.",
      .inputSchema = ObjectSchema()
                         .required("app", app())
                         .required("element_index", elementIndex())
                         .required("action", text("The name as the element's line gives it.")),
  });
  tools.push_back({
      .name = "event_stream_start",
      .title = "Start recording",
      .description =
          "Starts to record what the user does on this computer, after the user agreed, into files that "
          "event_stream_status names. Only one recording runs at a time.",
      .inputSchema = ObjectSchema()
                         .optional("max_duration_seconds",
                                   {{"type", "integer"},
                                    {"minimum", 1},
                                    {"maximum", 3600},
                                    {"default", 1800},
                                    {"description", "The recording ends by itself after this time."}})
                         .optional("screenshot_mode",
                                   withDefault(choice({"off", "window_changes", "interaction_settled"},
                                                      "When to take screenshots."),
                                               "off"))
                         .optional("session_id", text("A name of your own for this recording.")),
  });
  tools.push_back({
      .name = "event_stream_status",
      .title = "Recording status",
      .description =
          "Tells whether a recording runs, how many events it holds, where its files are and how the "
          "last one ended.",
      .inputSchema = ObjectSchema(),
      .isReadOnly = true,
  });
  tools.push_back({
      .name = "event_stream_stop",
      .title = "Stop recording",
      .description = "Ends the running recording and answers with its status.",
      .inputSchema = ObjectSchema().optional(
          "reason", withDefault(choice({"userStoppedSession", "approvalCancelled", "toolStopped",
                                        "debugUIStopped", "recordingControlsStopped",
                                        "recordingControlsCancelled", "maxDuration", "error"},
                                       "Why it ends."),
                                "toolStopped")),
  });
  return tools;
}

}  // namespace

ToolCatalogue::ToolCatalogue(const std::string& shortcutModifier)
    : tools_(describeTools(shortcutModifier)), instructions_(tavik::instructions(shortcutModifier)) {}

bool ToolCatalogue::contains(std::string_view name) const {
  return std::ranges::any_of(tools_, [&](const ToolDescription& tool) { return tool.name == name; });
}

}  // namespace tavik
