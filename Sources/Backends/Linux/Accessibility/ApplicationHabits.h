#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Backends/Linux/Accessibility/AccessibleFacts.h"
#include "Backends/Linux/Accessibility/Toolkit.h"

namespace tavik {

/// What earlier readings have taught, so that later ones ask less. Any thread.
class ApplicationHabits {
 public:
  /// The names of these actions, by their localised ones, if learned. One question
  /// lists an object's actions, but in the user's language; the names proper cost a
  /// question each. A list with an action that has no localised name is not learned.
  std::optional<std::vector<std::string>> actionNames(Toolkit toolkit,
                                                      const std::vector<AccessibleAction>& actions);
  void learnActionNames(Toolkit toolkit, const std::vector<AccessibleAction>& actions);

  /// Whether the last whole reading of this application met no identifier.
  bool givesNoIdentifiers(const std::string& busName);
  void noteIdentifiers(const std::string& busName, bool found);

 private:
  using ActionList = std::pair<Toolkit, std::vector<std::string>>;

  static std::optional<ActionList> listOf(Toolkit toolkit, const std::vector<AccessibleAction>& actions);

  std::mutex mutex_;
  std::map<ActionList, std::vector<std::string>> actionNames_;
  std::set<std::string> withoutIdentifiers_;
};

}  // namespace tavik
