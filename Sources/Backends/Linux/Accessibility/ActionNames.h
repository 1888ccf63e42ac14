#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Backends/Linux/Accessibility/AccessibleFacts.h"
#include "Backends/Linux/Accessibility/Toolkit.h"

namespace tavik {

/// The names of actions, learned once for each list of actions that a toolkit
/// offers. One question lists an object's actions, but in the user's language; the
/// names proper cost a question each. Any thread.
class ActionNames {
 public:
  /// The names that go with the localised ones of these actions, if learned. A list
  /// with an action that has no localised name is never learned.
  std::optional<std::vector<std::string>> names(Toolkit toolkit,
                                                const std::vector<AccessibleAction>& actions);
  void learn(Toolkit toolkit, const std::vector<AccessibleAction>& actions);

 private:
  using Key = std::pair<Toolkit, std::vector<std::string>>;

  static std::optional<Key> keyOf(Toolkit toolkit, const std::vector<AccessibleAction>& actions);

  std::mutex mutex_;
  std::map<Key, std::vector<std::string>> learned_;
};

}  // namespace tavik
