#include "Backends/Linux/Accessibility/ApplicationHabits.h"

namespace tavik {

std::optional<ApplicationHabits::ActionList> ApplicationHabits::listOf(
    Toolkit toolkit, const std::vector<AccessibleAction>& actions) {
  ActionList list{toolkit, {}};
  for (const AccessibleAction& action : actions) {
    if (action.localizedName.empty()) return std::nullopt;
    list.second.push_back(action.localizedName);
  }
  return list;
}

std::optional<std::vector<std::string>> ApplicationHabits::actionNames(
    Toolkit toolkit, const std::vector<AccessibleAction>& actions) {
  std::optional<ActionList> list = listOf(toolkit, actions);
  if (!list) return std::nullopt;
  std::lock_guard lock(mutex_);
  auto known = actionNames_.find(*list);
  return known == actionNames_.end() ? std::nullopt : std::optional(known->second);
}

void ApplicationHabits::learnActionNames(Toolkit toolkit, const std::vector<AccessibleAction>& actions) {
  std::optional<ActionList> list = listOf(toolkit, actions);
  if (!list) return;
  std::vector<std::string> names;
  for (const AccessibleAction& action : actions) names.push_back(action.name);
  std::lock_guard lock(mutex_);
  actionNames_.emplace(std::move(*list), std::move(names));
}

bool ApplicationHabits::givesNoIdentifiers(const std::string& busName) {
  std::lock_guard lock(mutex_);
  return withoutIdentifiers_.contains(busName);
}

void ApplicationHabits::noteIdentifiers(const std::string& busName, bool found) {
  std::lock_guard lock(mutex_);
  if (found) {
    withoutIdentifiers_.erase(busName);
  } else {
    withoutIdentifiers_.insert(busName);
  }
}

}  // namespace tavik
