#include "Backends/Linux/Accessibility/ActionNames.h"

namespace tavik {

std::optional<ActionNames::Key> ActionNames::keyOf(Toolkit toolkit,
                                                   const std::vector<AccessibleAction>& actions) {
  Key key{toolkit, {}};
  for (const AccessibleAction& action : actions) {
    if (action.localizedName.empty()) return std::nullopt;
    key.second.push_back(action.localizedName);
  }
  return key;
}

std::optional<std::vector<std::string>> ActionNames::names(Toolkit toolkit,
                                                           const std::vector<AccessibleAction>& actions) {
  std::optional<Key> key = keyOf(toolkit, actions);
  if (!key) return std::nullopt;
  std::lock_guard lock(mutex_);
  auto known = learned_.find(*key);
  return known == learned_.end() ? std::nullopt : std::optional(known->second);
}

void ActionNames::learn(Toolkit toolkit, const std::vector<AccessibleAction>& actions) {
  std::optional<Key> key = keyOf(toolkit, actions);
  if (!key) return;
  std::vector<std::string> names;
  for (const AccessibleAction& action : actions) names.push_back(action.name);
  std::lock_guard lock(mutex_);
  learned_.emplace(std::move(*key), std::move(names));
}

}  // namespace tavik
