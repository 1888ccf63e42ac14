#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Backends/Simulated/Accessibility/ElementBuilder.h"
#include "Backends/Simulated/Accessibility/FaultScript.h"
#include "Backends/Simulated/Accessibility/SimulatedElement.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

struct ApplicationNode;

/// A test's hand on one application. Copies name the same one. Any thread.
class SimulatedApplication {
 public:
  SimulatedApplication(ElementModel& model, ApplicationNode& node) : model_(&model), node_(&node) {}

  std::int32_t pid() const;
  /// The application's own element.
  SimulatedElement element() const;

  /// Opens a window in front of the application's others. Global points.
  SimulatedElement window(const std::string& title, const Rect& frame) const;
  /// Opens what the plan says; its role should be AXWindow.
  SimulatedElement window(const ElementBuilder& plan) const;
  /// Gives the application a menu bar with these menus.
  SimulatedElement menuBar(const std::vector<ElementBuilder>& menus) const;

  /// Brings it in front of all others, as the user would.
  void activate() const;
  void hide() const;
  /// Ends the process; its elements are dead from now on.
  void exit() const;
  bool isRunning() const;

  /// Changes what the workspace tells of it.
  void describe(const std::function<void(RunningApplication&)>& change) const;

  /// Scripts the calls on all elements of the application; see `Fault`.
  Fault on(AXCall call) const;

 private:
  ElementModel* model_;
  ApplicationNode* node_;
};

}  // namespace tavik
