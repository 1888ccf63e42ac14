#pragma once

#include <vector>

#include "AccessibilitySupport/Input/KeyboardLayoutSnapshotProvider.h"
#include "Backends/Simulated/System/SimulatedEventPosting.h"
#include "Backends/Simulated/System/SimulatedKeyboard.h"
#include "Tests/Support/SimulatedWorld.h"

namespace tavik {

/// A process to send input to, in virtual time, with the events that reached it.
struct InputDesk {
  static constexpr std::int32_t pid = 200;

  SimulatedWorld world;
  SimulatedEventPosting port{world.scheduler, world.desktop.journal()};
  SimulatedKeyboard keyboard;

  void run(const std::function<void()>& body) { world.run(body); }

  std::vector<InputEvent> events() const {
    std::vector<InputEvent> events;
    for (const auto& posted : port.posted()) events.push_back(posted.event);
    return events;
  }

  /// One figure of each event, in order.
  template <class Figure>
  auto of(Figure figure) const {
    std::vector<std::decay_t<decltype(figure(InputEvent()))>> figures;
    for (const InputEvent& event : events()) figures.push_back(figure(event));
    return figures;
  }

  std::vector<std::uint32_t> types() const {
    return of([](const InputEvent& event) { return event.type; });
  }
};

}  // namespace tavik
