#include "ComputerUseToolRuntime/Actions/ElementLookup.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Base/Text/Text.h"
#include "ComputerUseContracts/ToolError.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr std::int64_t nearbyDistance = 3;

}  // namespace

std::string nearbyElementDescriptions(std::int64_t index, const UIElementTree& tree) {
  // Any number may come from a model.
  if (!std::in_range<int>(index)) return "";
  std::vector<std::string> entries;
  const std::int64_t first = std::max<std::int64_t>(index - nearbyDistance, 0);
  for (std::int64_t near = first; near <= index + nearbyDistance; ++near) {
    if (auto item = tree.item(near)) {
      entries.push_back("[" + std::to_string(near) + "] " + item->appStateDescriptionWithoutIndex());
    }
  }
  return text::joined(entries, " | ");
}

std::shared_ptr<UIElementTree::Item> ElementLookup::findElement(std::int64_t index) {
  const auto appStateTree = session_.currentAppStateTree();
  if (!appStateTree) throw ToolError::noActiveAppState();
  std::string problem;
  try {
    const auto found = appStateTree->element(index);
    session_.setCurrentTree(appStateTree->tree());
    if (!found->item->axElement) throw ToolError::elementNotFound(index);
    return found->item;
  } catch (const CancellationError&) {
    throw;
  } catch (const std::exception& error) {
    TavikComputerUseLogger::warning(LogCategory::tools, "element_lookup_failed",
                                    {{"strategy", "refetchable_tree"}, {"error", error}});
    problem = error.what();
  }
  const auto tree = session_.currentTree();
  const std::string nearby = tree ? nearbyElementDescriptions(index, *tree) : "";
  throw ToolError::actionRejected(problem +
                                  ". Re-query the latest state with get_app_state before sending more actions." +
                                  (nearby.empty() ? "" : " Nearby elements: " + nearby));
}

}  // namespace tavik
