#include "Backends/Simulated/SimulatedApplication.h"

#include <utility>

#include "Backends/Simulated/Accessibility/ElementModel.h"

namespace tavik {

std::int32_t SimulatedApplication::pid() const { return node_->record.pid; }

SimulatedElement SimulatedApplication::element() const { return SimulatedElement(*model_, *node_->root); }

SimulatedElement SimulatedApplication::window(const std::string& title, const Rect& frame) const {
  ElementBuilder plan("AXWindow");
  plan.title(title).frame(frame).attribute("AXSubrole", "AXStandardWindow");
  plan.roleDescription("standard window");
  return window(plan);
}

SimulatedElement SimulatedApplication::window(const ElementBuilder& plan) const {
  return model_->change([&](ElementEffects& effects) {
    return SimulatedElement(*model_, model_->addWindowLocked(*node_, plan, effects));
  });
}

SimulatedElement SimulatedApplication::menuBar(const std::vector<ElementBuilder>& menus) const {
  ElementBuilder plan("AXMenuBar");
  plan.add(menus);
  return model_->change([&](ElementEffects& effects) {
    ElementNode& bar = model_->makeLocked(*node_, node_->root, plan, std::nullopt, effects);
    node_->menuBar = &bar;
    return SimulatedElement(*model_, bar);
  });
}

void SimulatedApplication::activate() const {
  model_->change([&](ElementEffects& effects) { model_->activateLocked(node_, effects); });
}

void SimulatedApplication::hide() const {
  model_->change([&](ElementEffects& effects) {
    if (std::exchange(node_->isHidden, true)) return;
    effects.notify(*node_->root, "AXApplicationHidden");
  });
}

void SimulatedApplication::exit() const {
  model_->change([&](ElementEffects& effects) { model_->exitLocked(*node_, effects); });
}

bool SimulatedApplication::isRunning() const {
  return model_->look([&] { return node_->isRunning; });
}

void SimulatedApplication::describe(const std::function<void(RunningApplication&)>& change) const {
  model_->look([&] { change(node_->record); });
}

Fault SimulatedApplication::on(AXCall call) const {
  Fault fault(std::move(call));
  model_->look([&] { node_->faults.push_back(fault); });
  return fault;
}

}  // namespace tavik
