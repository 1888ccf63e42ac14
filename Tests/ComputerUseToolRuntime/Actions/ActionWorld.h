#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Actions/ScriptedCursor.h"
#include "Service/ToolWorld.h"

namespace tavik {

/// What the tools are given besides the desktop, made before them.
struct ActionExtras {
  ScriptedCursor cursor;
  std::vector<std::string> recording;

  ToolServiceExtras extras() {
    return {.cursorPresenter = &cursor,
            .recording = {.begin = [this](const std::string& reason) { recording.push_back("begin " + reason); },
                          .end = [this](const std::string& reason, Duration echo) {
                            recording.push_back("end " + reason + " " + std::to_string(roundedMilliseconds(echo)));
                          }}};
  }
};

/// An application behind the user's, with the tools that act on it.
class ActionWorld : public ActionExtras, public ToolWorld {
 public:
  explicit ActionWorld(std::optional<std::uint64_t> seed = std::nullopt) : ToolWorld(seed, extras()) {
    // Enough content for one look to be enough.
    auto status = window.add(simulated::table().frame(100, 685, 800, 14));
    for (int i = 0; i < 14; ++i) status.add(simulated::button("Status " + std::to_string(i)).frame(100 + i, 685, 1, 1));
    users.window("The user's", Rect{{900, 500}, {600, 400}});
    users.activate();
  }

  /// Looks at the application, so that actions may follow.
  void look() {
    getAppState("Notes");
    desktop.journal().clear();
  }
  std::int64_t indexOf(SimulatedElement element) {
    const auto item = service.session().currentTree()->findItem(element.element());
    return item && item->elementIndex ? *item->elementIndex : -1;
  }

  /// The action alone, without the state that follows it: its text, or the words of
  /// its refusal.
  std::string act(const ComputerUseIPCAction& action) {
    try {
      return textOf(service.withSerializedAction([&] { return service.performAction("Notes", action); }));
    } catch (const ToolError& error) {
      return error.description();
    }
  }

  /// The types of the input events that the application was sent.
  std::vector<std::uint32_t> posted() const {
    std::vector<std::uint32_t> types;
    for (const auto& post : const_cast<ActionWorld*>(this)->desktop.eventPosting().posted()) {
      const auto type = post.event.type;
      const bool isFelt = type != InputEventType::applicationDefined && type != InputEventType::processNotification;
      if (isFelt) types.push_back(type);
    }
    return types;
  }
  /// Of the last event.
  InputEvent lastEvent() { return desktop.eventPosting().posted().back().event; }
  std::vector<std::string> performed() { return desktop.journal().lines("perform"); }
  std::vector<std::string> written() { return desktop.journal().lines("set"); }

  static constexpr const char* success = "Action completed successfully.\n";

  SimulatedApplication notes = desktop.application("Notes", "com.example.notes", 42);
  SimulatedElement window = notes.window("Untitled", Rect{{100, 100}, {800, 600}});
  SimulatedApplication users = desktop.application("Mail", "com.example.mail", 50);
};

class ActionTest : public ::testing::Test {
 protected:
  ClickParams clickOn(SimulatedElement element, std::int64_t button = 0, std::int64_t count = 1) {
    ClickParams params;
    params.elementIndex = world.indexOf(element);
    params.mouseButton = button;
    params.clickCount = count;
    return params;
  }
  /// A pixel of the picture, which shows the window of 800 by 600 points at 1,024 by 768.
  ClickParams clickAt(double x, double y, std::int64_t button = 0, std::int64_t count = 1) {
    ClickParams params;
    params.x = x;
    params.y = y;
    params.mouseButton = button;
    params.clickCount = count;
    return params;
  }

  ActionWorld world;
  SimulatedElement window = world.window;
};

}  // namespace tavik
