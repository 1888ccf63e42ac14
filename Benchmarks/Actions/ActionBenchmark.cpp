// Times actions on a running gtk3-widget-factory, from the request until the effect
// shows in the application, and prints for each "action means medianMilliseconds
// fixedWaitMilliseconds". Beside each stands what a user would take otherwise: xdotool
// for keys and clicks, in the window brought to the front for it.
//
// usage: ActionBenchmark ROUNDS

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "Backends/Linux/Platform/MakePlatform.h"
#include "Base/Concurrency/ThreadScheduler.h"
#include "ComputerUseToolRuntime/Service/ComputerUseToolService.h"
#include "SlimCore/Identity/BundleIdentifiers.h"

namespace {

using namespace tavik;
using Clock = std::chrono::steady_clock;

constexpr const char* app = "gtk3-widget-factory";

class Desk {
 public:
  Desk() : main_(scheduler_.start("main", [this] { mainQueue_.run(); })) {}
  ~Desk() {
    mainQueue_.quit();
    main_.join();
  }

  void look() {
    tools_.withSerializedSessionState([&] { return tools_.getAppState(app, {.allowAppLaunch = false}); });
  }
  /// The index of the first item that satisfies the condition.
  std::int64_t find(const std::function<bool(const UIElementTree::Item&)>& isWanted) {
    for (const auto& item : tools_.session().currentTree()->allItems()) {
      if (item->elementIndex && isWanted(*item)) return *item->elementIndex;
    }
    std::fprintf(stderr, "the application does not show what is needed\n");
    std::exit(1);
  }
  AXElement element(std::int64_t index) { return tools_.session().currentTree()->item(index)->axElement; }
  void act(const ComputerUseIPCAction& action) { tools_.performAction(app, action); }
  std::string value(const AXElement& element, const std::string& attribute = "AXValue") {
    if (auto text = reader_.string(element, attribute)) return *text;
    return std::to_string(reader_.number(element, attribute).value_or(-1));
  }
  Point center(const AXElement& element) { return reader_.frameCenter(element).value_or(Point()); }
  Rect frame(const AXElement& element) { return reader_.frame(element).value_or(Rect()); }
  /// The pixel of the last state's picture where a global point is.
  Point pixel(Point point) {
    const auto session = tools_.session().currentSession();
    const Rect& bounds = *session->targetWindowBounds;
    const Size& size = *session->screenshotPixelSize;
    return {(point.x - bounds.minX()) * size.width / bounds.size.width,
            (point.y - bounds.minY()) * size.height / bounds.size.height};
  }

 private:
  ThreadScheduler scheduler_;
  MainQueue mainQueue_{scheduler_};
  Task main_;
  std::unique_ptr<LinuxPlatform> platform_ = makePlatform(mainQueue_, BundleIdentifiers::defaultTeamIdentifier);
  Platform& ports_ = platform_->ports();
  AXWrapper access_{ports_.accessibility, ports_.process, scheduler_, mainQueue_};
  AppSearchEngine search_{ports_.applicationIndex, ports_.workspace, scheduler_, ports_.process.bundleIdentifier()};
  ComputerUseToolService tools_{ports_, access_, search_, mainQueue_, scheduler_};
  LiveElementReader reader_{access_};
};

/// Runs the action in rounds and prints how long its effect took to show: `prepare`
/// gives the element whose attribute it changes.
void measure(Desk& desk, const char* name, const char* means, int rounds, double fixedWait,
             const std::function<AXElement()>& prepare, const std::function<void()>& action,
             const std::string& attribute = "AXValue") {
  std::vector<double> times;
  for (int round = 0; round < rounds; ++round) {
    const AXElement watched = prepare();
    const std::string before = desk.value(watched, attribute);
    const auto start = Clock::now();
    action();
    while (desk.value(watched, attribute) == before && Clock::now() - start < std::chrono::seconds(5)) {
    }
    times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
  }
  std::ranges::nth_element(times, times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2));
  std::printf("%-10s %-16s %8.1f %6.0f\n", name, means, times[times.size() / 2], fixedWait);
}

std::string said(Point point) {
  return std::to_string(static_cast<int>(point.x)) + " " + std::to_string(static_cast<int>(point.y));
}

void run(const std::string& command) {
  if (std::system((command + " >/dev/null 2>&1").c_str()) != 0) std::fprintf(stderr, "failed: %s\n", command.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 11;
  Desk desk;
  desk.look();
  std::int64_t index = 0;
  const auto box = [&] {
    desk.look();
    index = desk.find([](const auto& item) { return item.role == "AXCheckBox" && item.isEnabled && item.value != "2"; });
    return desk.element(index);
  };
  const auto entry = [&] {
    desk.look();
    index = desk.find([](const auto& item) {
      return item.role == "AXTextField" && item.isEnabled && item.isValueSettable && !item.placeholderValue;
    });
    return desk.element(index);
  };
  const auto focusedEntry = [&] {
    const AXElement field = entry();
    desk.act(SetValueParams{index, "x"});
    desk.look();
    entry();
    desk.act(TextSelectionParams{index, "x", std::nullopt, std::nullopt, TextSelectionMode::cursorAfter});
    desk.look();
    return field;
  };
  measure(desk, "click", "this system", rounds, 0, box, [&] {
    ClickParams click;
    click.elementIndex = index;
    desk.act(click);
  });
  int number = 0;
  measure(desk, "set_value", "this system", rounds, 0, entry,
          [&] { desk.act(SetValueParams{index, "value " + std::to_string(++number)}); });
  measure(desk, "type_text", "this system", rounds, 50, focusedEntry, [&] { desk.act(TypeTextParams{"0123456789"}); });
  measure(desk, "press_key", "this system", rounds, 0, focusedEntry, [&] { desk.act(PressKeyParams{"BackSpace"}); });
  measure(desk, "secondary", "this system", rounds, 0, box,
          [&] { desk.act(PerformSecondaryActionParams{index, "Press"}); });

  const char* word = "alpha";
  const auto entryOfTwoWords = [&] {
    const AXElement field = entry();
    desk.act(SetValueParams{index, "alpha beta"});
    desk.look();
    word = word == std::string("alpha") ? "beta" : "alpha";
    return entry() == field ? field : desk.element(index);
  };
  measure(desk, "select", "this system", rounds, 0, entryOfTwoWords,
          [&] { desk.act(TextSelectionParams{index, word, std::nullopt, std::nullopt, TextSelectionMode::text}); },
          "AXSelectedText");

  Point from, to;
  const auto slider = [&] {
    desk.look();
    index = desk.find([](const auto& item) { return item.role == "AXSlider" && item.isEnabled && item.isValueSettable; });
    const AXElement element = desk.element(index);
    const Rect frame = desk.frame(element);
    const bool isLow = std::atof(desk.value(element).c_str()) < 50;
    from = {frame.minX() + frame.size.width * (isLow ? 0.3 : 0.7), frame.center().y};
    to = {frame.minX() + frame.size.width * (isLow ? 0.7 : 0.3), frame.center().y};
    return element;
  };
  measure(desk, "drag", "this system", rounds, 0, slider, [&] {
    const Point start = desk.pixel(from), end = desk.pixel(to);
    desk.act(DragParams{start.x, start.y, end.x, end.y});
  });

  std::int64_t direction = 1;
  const auto sliderUnderWheel = [&] {
    const AXElement element = slider();
    from = desk.center(element);
    direction = direction == 1 ? 0 : 1;
    return element;
  };
  measure(desk, "scroll", "this system", rounds, 0, sliderUnderWheel, [&] { desk.act(ScrollParams{index, direction, 1}); });

  const std::string window = std::string("$(xdotool search --onlyvisible --class ") + app + " | tail -n 1)";
  run("xdotool windowactivate --sync " + window);
  Point place;
  measure(desk, "click", "xdotool", rounds, 0,
          [&] {
            const AXElement element = box();
            place = desk.center(element);
            return element;
          },
          [&] { run("xdotool mousemove " + said(place) + " click 1"); });
  measure(desk, "type_text", "xdotool", rounds, 0, focusedEntry, [&] { run("xdotool type --delay 0 0123456789"); });
  measure(desk, "press_key", "xdotool", rounds, 0, focusedEntry, [&] { run("xdotool key BackSpace"); });
  measure(desk, "drag", "xdotool", rounds, 0, slider, [&] {
    run("xdotool mousemove " + said(from) + " mousedown 1 mousemove " + said(to) + " mouseup 1");
  });
  measure(desk, "scroll", "xdotool", rounds, 0, sliderUnderWheel, [&] {
    run("xdotool mousemove " + said(from) + " click --repeat 3 --delay 1 " + (direction == 1 ? "5" : "4"));
  });
}
