#include <algorithm>
#include <set>
#include <unordered_set>
#include <utility>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "AccessibilitySupport/Tree/LiveItemValues.h"
#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

using Item = UIElementTree::Item;

constexpr long largestChildCount = 499;
constexpr int largestSupplementalScan = 96;
constexpr int largestSupplementalKeep = 24;
constexpr int deepestSupplementalLevel = 7;
constexpr int settlePollMs = 100;

const std::set<std::string> supplementalActionRoles = {
    "AXButton",   "AXCheckBox",   "AXComboBox",    "AXDisclosureTriangle", "AXLink", "AXMenuButton",
    "AXMenuItem", "AXOutlineRow", "AXPopUpButton", "AXRadioButton",        "AXRow",  "AXTableRow",
};

const std::set<std::string> supplementalSettableRoles = {
    "AXCheckBox",  "AXComboBox", "AXPopUpButton", "AXRadioButton",
    "AXScrollBar", "AXSlider",   "AXTextArea",    "AXTextField",
};

const std::vector<std::string> selectionAttributes = {"AXSelectedChildren", "AXSelectedRows",
                                                      "AXSelectedCells"};

/// The time that one build may take, and what to say when it was not enough.
class BuildBudget {
 public:
  BuildBudget(Scheduler& scheduler, Duration timeout)
      : scheduler_(scheduler), deadline_(scheduler.now() + std::clamp(timeout, Duration(0), longest())) {}

  /// The first time that this is false, it says so in the diagnostics.
  bool hasTimeRemaining() {
    if (scheduler_.now() < deadline_) return true;
    if (!didRecordTimeout_) {
      diagnostics_.push_back("AX tree build timed out; returned partial accessibility tree");
      didRecordTimeout_ = true;
    }
    return false;
  }

  const std::vector<std::string>& diagnostics() const { return diagnostics_; }

 private:
  static constexpr Duration longest() { return Duration::max() / 2; }

  Scheduler& scheduler_;
  const MonotonicTime deadline_;
  std::vector<std::string> diagnostics_;
  bool didRecordTimeout_ = false;
};

/// Elements in order, and a fast answer to whether one is among them.
class ElementList {
 public:
  ElementList() = default;
  explicit ElementList(std::vector<AXElement> elements)
      : elements_(std::move(elements)), known_(elements_.begin(), elements_.end()) {}

  bool isEmpty() const { return elements_.empty(); }
  bool contains(const AXElement& element) const { return known_.contains(element); }
  void appendIfMissing(const AXElement& element) {
    if (known_.insert(element).second) elements_.push_back(element);
  }
  std::vector<AXElement> take() { return std::move(elements_); }

 private:
  std::vector<AXElement> elements_;
  std::unordered_set<AXElement> known_;
};

std::vector<AXElement> elementsIn(const AXArray& values) {
  std::vector<AXElement> elements;
  for (const auto& value : values) {
    const auto* element = value.get<AXElement>();
    if (element && *element) elements.push_back(*element);
  }
  return elements;
}

bool isSupplementalWebContentRole(const std::string& role, const std::string& roleDescription) {
  return role == "AXWebArea" || text::containsIgnoringCase(roleDescription, "HTML");
}

/// One build: reads elements into items for as long as the budget lasts.
class TreeReader {
 public:
  TreeReader(AXWrapper& access, BuildBudget& budget) : access_(access), budget_(budget) {}

  std::shared_ptr<Item> buildItem(const AXElement& element, int depth, int maxDepth) {
    if (!budget_.hasTimeRemaining()) return budgetExceededItem(element);
    if (depth >= maxDepth) return bareItem(element);
    auto answers = access_.tryCopyMultipleAttributeValues(element, AXAttributes::batchAttributes);
    if (!answers) return bareItem(element);

    auto item = std::make_shared<Item>(itemValues(AXAttributes::batchAttributes, *std::move(answers)));
    item->axElement = element;
    item->access = &access_;
    item->actions = actionNames(element);
    item->isValueSettable = isValueSettable(element);
    item->setChildItems(buildChildren(fetchChildElements(element), depth + 1, maxDepth));
    return item;
  }

 private:
  Item::Children buildChildren(const std::vector<AXElement>& elements, int depth, int maxDepth) {
    Item::Children children;
    for (const auto& element : elements) {
      if (!budget_.hasTimeRemaining()) {
        children.push_back(budgetExceededItem(element));
        break;
      }
      children.push_back(buildItem(element, depth, maxDepth));
    }
    return children;
  }

  std::shared_ptr<Item> bareItem(const AXElement& element) const {
    auto item = std::make_shared<Item>();
    item->axElement = element;
    item->access = &access_;
    return item;
  }

  std::shared_ptr<Item> budgetExceededItem(const AXElement& element) const {
    auto item = bareItem(element);
    item->role = "AXGroup";
    item->roleDescription = "AX tree truncated";
    item->elementDescription =
        "AX tree build budget was reached; call get_app_state again if more detail is needed.";
    return item;
  }

  // Children

  std::vector<AXElement> fetchChildElements(const AXElement& element) {
    if (!budget_.hasTimeRemaining()) return {};
    ElementList list(elementArray(element, AXAttributes::visibleChildren));
    if (!list.isEmpty()) {
      appendSelectedChildren(element, list);
      appendActionableSupplementalChildren(element, list);
      return list.take();
    }
    if (!budget_.hasTimeRemaining()) return {};
    list = ElementList(countedChildren(element));
    appendSelectedChildren(element, list);
    return list.take();
  }

  /// All children, unless they are too many to read or cannot be read.
  std::vector<AXElement> countedChildren(const AXElement& element) {
    const auto count = access_.tryGetAttributeValueCount(element, AXAttributes::children);
    if (!count || *count < 1 || *count > largestChildCount) return {};
    const auto children = access_.tryCopyAttributeValues(element, AXAttributes::children, 0, *count);
    return children ? elementsIn(*children) : std::vector<AXElement>();
  }

  std::vector<AXElement> elementArray(const AXElement& element, const std::string& attribute) {
    const auto value = access_.tryCopyAttributeValue(element, attribute);
    const auto* array = value ? value->get<AXArray>() : nullptr;
    return array ? elementsIn(*array) : std::vector<AXElement>();
  }

  void appendSelectedChildren(const AXElement& element, ElementList& list) {
    for (const auto& attribute : selectionAttributes) {
      for (const auto& selected : elementArray(element, attribute)) list.appendIfMissing(selected);
    }
  }

  /// Children that are not visible now but that the reader would want to act on.
  void appendActionableSupplementalChildren(const AXElement& element, ElementList& list) {
    if (!budget_.hasTimeRemaining()) return;
    int scanned = 0;
    int kept = 0;
    for (const auto& child : countedChildren(element)) {
      if (list.contains(child)) continue;
      if (!budget_.hasTimeRemaining()) return;
      if (scanned >= largestSupplementalScan || kept >= largestSupplementalKeep) return;
      ++scanned;
      if (!shouldKeepSupplementalChild(child, 0)) continue;
      list.appendIfMissing(child);
      ++kept;
    }
  }

  bool shouldKeepSupplementalChild(const AXElement& element, int depth) {
    if (!budget_.hasTimeRemaining()) return false;
    const std::string role = stringAttribute(element, AXAttributes::role);
    const std::string roleDescription = stringAttribute(element, AXAttributes::roleDescription);
    if (isSupplementalWebContentRole(role, roleDescription)) return true;
    if (role == "AXToolbar") return true;
    if (supplementalActionRoles.contains(role) && hasActions(element)) return true;
    if (supplementalSettableRoles.contains(role) && isValueSettable(element)) return true;
    if (depth > deepestSupplementalLevel) return false;
    return std::ranges::any_of(countedChildren(element), [&](const AXElement& child) {
      return shouldKeepSupplementalChild(child, depth + 1);
    });
  }

  std::string stringAttribute(const AXElement& element, const std::string& attribute) {
    const auto value = access_.tryCopyAttributeValue(element, attribute);
    const auto* text = value ? value->get<std::string>() : nullptr;
    return text ? *text : std::string();
  }

  bool hasActions(const AXElement& element) { return !actionNames(element).empty(); }

  std::vector<std::string> actionNames(const AXElement& element) {
    auto answer = access_.port().copyActionNames(element);
    return answer.ok() ? std::move(answer.value) : std::vector<std::string>();
  }

  bool isValueSettable(const AXElement& element) {
    const auto answer = access_.port().isAttributeSettable(element, AXAttributes::value);
    return answer.ok() && answer.value;
  }

  AXWrapper& access_;
  BuildBudget& budget_;
};

/// Waits until the application answers at all.
void waitForUIToSettle(AXWrapper& access, Scheduler& scheduler, const AXElement& application,
                       std::int32_t pid, Duration timeout) {
  const std::int64_t timeoutMs = roundedMilliseconds(timeout);
  TavikComputerUseLogger::debug(
      LogCategory::accessibility, "settle_wait_started",
      {{"targetPid", pid}, {"pollIntervalMs", settlePollMs}, {"timeoutMs", timeoutMs}});
  const MonotonicTime start = scheduler.now();
  while (scheduler.now() - start < timeout) {
    scheduler.sleep(milliseconds(settlePollMs));
    if (!access.tryCopyAttributeValue(application, AXAttributes::role)) continue;
    TavikComputerUseLogger::debug(LogCategory::accessibility, "settle_wait_finished",
                                  {{"targetPid", pid}, {"outcome", "settled"}});
    return;
  }
  TavikComputerUseLogger::warning(LogCategory::accessibility, "settle_wait_finished",
                                  {{"targetPid", pid}, {"outcome", "timeout"}, {"timeoutMs", timeoutMs}});
}

std::shared_ptr<Item> resolveFocusedElement(AXWrapper& access, const AXElement& application,
                                            const UIElementTree& tree) {
  const auto focused = access.tryCopyAttributeValue(application, AXAttributes::focusedUIElement);
  const auto* element = focused ? focused->get<AXElement>() : nullptr;
  return element ? tree.findItem(*element) : nullptr;
}

}  // namespace

std::shared_ptr<UIElementTree> UIElementTree::build(AXWrapper& access, Scheduler& scheduler, std::int32_t pid,
                                                    const std::optional<AXElement>& rootElement, int maxDepth,
                                                    Duration timeout) {
  const AXElement application = access.port().createApplication(pid);
  BuildBudget budget(scheduler, timeout);
  waitForUIToSettle(access, scheduler, application, pid, timeout);

  const AXElement root = rootElement.value_or(application);
  const auto readScope = access.port().beginReadScope(root);
  auto rootItem = TreeReader(access, budget).buildItem(root, 0, maxDepth);
  auto tree = std::make_shared<UIElementTree>(std::move(rootItem), pid, budget.diagnostics());
  if (budget.hasTimeRemaining()) tree->focusedElement = resolveFocusedElement(access, application, *tree);
  return tree;
}

}  // namespace tavik
