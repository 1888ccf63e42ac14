#include "AccessibilitySupport/Tree/UIElementTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccessDesk.h"

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Item = UIElementTree::Item;

std::shared_ptr<Item> item(const std::string& title, Item::Children children = {}) {
  auto result = std::make_shared<Item>();
  result->role = "AXGroup";
  result->title = title;
  result->setChildItems(std::move(children));
  return result;
}

/// A chain of items, each the only child of the one before.
std::shared_ptr<Item> chain(int length) {
  auto deepest = item("0");
  for (int i = 1; i < length; ++i) deepest = item(std::to_string(i), {deepest});
  return deepest;
}

std::vector<std::string> titles(const std::vector<std::shared_ptr<Item>>& items) {
  std::vector<std::string> result;
  for (const auto& item : items) result.push_back(item->title.value_or("-"));
  return result;
}

class UIElementTreeTests : public testing::Test {
 protected:
  SimulatedScheduler scheduler;
  AccessDesk desk{scheduler};
  AXElement first = desk.port.add(AccessDesk::appPID);
  AXElement second = desk.port.add(AccessDesk::appPID);
};

TEST_F(UIElementTreeTests, ANewTreeHasNeitherFocusNorIndices) {
  UIElementTree tree(item("root"), 7, {"said"});
  EXPECT_EQ(tree.pid, 7);
  EXPECT_EQ(tree.focusedElement, nullptr);
  EXPECT_THAT(tree.itemsByIndex, IsEmpty());
  EXPECT_THAT(tree.diagnostics, ElementsAre("said"));
  EXPECT_EQ(tree.item(0), nullptr);
}

TEST_F(UIElementTreeTests, AllItemsComeParentsFirstAndInChildOrder) {
  UIElementTree tree(item("a", {item("b", {item("c"), item("d")}), item("e")}), 7);
  EXPECT_THAT(titles(tree.allItems()), ElementsAre("a", "b", "c", "d", "e"));
}

TEST_F(UIElementTreeTests, FindItemGivesTheFirstThatStandsForTheElement) {
  auto deep = item("deep");
  auto late = item("late");
  deep->axElement = late->axElement = first;
  UIElementTree tree(item("root", {item("group", {deep}), late}), 7);
  EXPECT_EQ(tree.findItem(first), deep);
  EXPECT_EQ(tree.findItem(second), nullptr);
}

TEST_F(UIElementTreeTests, NoItemStandsForTheNullElement) {
  UIElementTree tree(item("root"), 7);
  EXPECT_EQ(tree.findItem(AXElement()), nullptr);
}

TEST_F(UIElementTreeTests, ADeepCopyHasEveryValueAndNoParent) {
  auto child = item("child");
  child->axElement = second;
  auto original = item("title", {child});
  auto outer = item("outer", {original});
  original->roleDescription = "group";
  original->value = "value";
  original->elementDescription = "description";
  original->placeholderValue = "placeholder";
  original->identifier = "identifier";
  original->subrole = "AXSub";
  original->frame = Rect{{1, 2}, {3, 4}};
  original->isEnabled = false;
  original->isSelectable = original->isSelected = original->isFocused = original->isValueSettable = true;
  original->valueType = "string";
  original->help = "help";
  original->url = AXURL{"https://example.com"};
  original->axElement = first;
  original->access = &desk.access;
  original->syntheticFoldedRowLabel = "label";
  original->elementIndex = 12;
  original->actions = {"AXPress"};

  const auto copy = original->deepCopy();
  EXPECT_EQ(copy->role, "AXGroup");
  EXPECT_EQ(copy->roleDescription, "group");
  EXPECT_EQ(copy->title, "title");
  EXPECT_EQ(copy->value, "value");
  EXPECT_EQ(copy->elementDescription, "description");
  EXPECT_EQ(copy->placeholderValue, "placeholder");
  EXPECT_EQ(copy->identifier, "identifier");
  EXPECT_EQ(copy->subrole, "AXSub");
  EXPECT_EQ(copy->frame, (Rect{{1, 2}, {3, 4}}));
  EXPECT_FALSE(copy->isEnabled);
  EXPECT_TRUE(copy->isSelectable && copy->isSelected && copy->isFocused && copy->isValueSettable);
  EXPECT_EQ(copy->valueType, "string");
  EXPECT_EQ(copy->help, "help");
  EXPECT_EQ(copy->url, AXURL{"https://example.com"});
  EXPECT_EQ(copy->axElement, first);
  EXPECT_EQ(copy->access, &desk.access);
  EXPECT_EQ(copy->syntheticFoldedRowLabel, "label");
  EXPECT_EQ(copy->elementIndex, 12);
  EXPECT_THAT(copy->actions, ElementsAre("AXPress"));

  EXPECT_EQ(original->parentItem(), outer);
  EXPECT_EQ(copy->parentItem(), nullptr);
  ASSERT_EQ(copy->childItems.size(), 1u);
  EXPECT_NE(copy->childItems[0], child);
  EXPECT_EQ(copy->childItems[0]->axElement, second);
  EXPECT_EQ(copy->childItems[0]->parentItem(), copy);
}

TEST_F(UIElementTreeTests, ACopyKeepsTheOrderOfSiblingsAtEveryLevel) {
  UIElementTree tree(item("a", {item("b", {item("c"), item("d")}), item("e", {item("f")})})->deepCopy(), 7);
  EXPECT_THAT(titles(tree.allItems()), ElementsAre("a", "b", "c", "d", "e", "f"));
}

TEST_F(UIElementTreeTests, AnItemSharedBeyondItsTreeLivesOnWithoutParent) {
  auto kept = item("kept", {item("below")});
  auto tree = std::make_unique<UIElementTree>(item("root", {item("group", {kept})}), 7);
  EXPECT_EQ(kept->parentItem()->title, "group");
  tree.reset();
  EXPECT_EQ(kept->parentItem(), nullptr);
  ASSERT_EQ(kept->childItems.size(), 1u);
  EXPECT_EQ(kept->childItems[0]->parentItem(), kept);
}

TEST_F(UIElementTreeTests, ATreeAHundredThousandDeepIsWalkedCopiedAndDestroyed) {
  constexpr int depth = 100'000;
  auto deepest = std::make_shared<Item>();
  deepest->axElement = first;
  auto top = deepest;
  for (int i = 1; i < depth; ++i) top = item("link", {top});

  auto tree = std::make_unique<UIElementTree>(top, 7);
  EXPECT_EQ(tree->allItems().size(), static_cast<std::size_t>(depth));
  EXPECT_EQ(tree->findItem(first), deepest);
  auto copy = std::make_unique<UIElementTree>(top->deepCopy(), 7);
  EXPECT_EQ(copy->allItems().size(), static_cast<std::size_t>(depth));
  EXPECT_NE(copy->findItem(first), deepest);

  std::weak_ptr<Item> watched = deepest;
  top.reset();
  deepest.reset();
  tree.reset();
  EXPECT_TRUE(watched.expired());
  copy.reset();
}

TEST_F(UIElementTreeTests, AShortenedChainDoesNotRecurseWhenItsMiddleIsStillHeld) {
  auto top = chain(100'000);
  auto middle = top;
  for (int i = 0; i < 50'000; ++i) middle = middle->childItems[0];
  top.reset();
  EXPECT_EQ(middle->parentItem(), nullptr);
  EXPECT_EQ(middle->title, "49999");
  std::weak_ptr<Item> below = middle->childItems[0];
  middle.reset();
  EXPECT_TRUE(below.expired());
}

// Root siblings

TEST_F(UIElementTreeTests, AppendingRootSiblingsMakesAnApplicationOfCopies) {
  const auto window = item("window", {item("button")});
  const auto menu = item("menu");
  const UIElementTree tree(window, 7, {"said"});
  const auto extended = tree.appStateTreeByAppendingRootSiblings({menu});

  EXPECT_EQ(extended->pid, 7);
  EXPECT_THAT(extended->diagnostics, IsEmpty());
  EXPECT_EQ(extended->rootItem->role, "AXApplication");
  EXPECT_TRUE(extended->rootItem->isEnabled);
  EXPECT_FALSE(extended->rootItem->axElement);
  EXPECT_THAT(titles(extended->allItems()), ElementsAre("-", "window", "button", "menu"));
  EXPECT_NE(extended->rootItem->childItems[0], window);
  EXPECT_NE(extended->rootItem->childItems[1], menu);
  EXPECT_EQ(extended->rootItem->childItems[1]->parentItem(), extended->rootItem);
  EXPECT_EQ(window->parentItem(), nullptr);
}

TEST_F(UIElementTreeTests, AppendingRootSiblingsNumbersTheNewTree) {
  const UIElementTree tree(item("window", {item("button")}), 7);
  const auto extended = tree.appStateTreeByAppendingRootSiblings({item("menu")});
  EXPECT_EQ(extended->item(0)->title, "window");
  EXPECT_EQ(extended->item(1)->title, "button");
  EXPECT_EQ(extended->item(2)->title, "menu");
  EXPECT_THAT(tree.itemsByIndex, IsEmpty());
}

TEST_F(UIElementTreeTests, TheFocusIsFoundAgainByItsElement) {
  auto button = item("button");
  button->axElement = first;
  UIElementTree tree(item("window", {item("other"), button}), 7);
  tree.focusedElement = button;
  const auto extended = tree.appStateTreeByAppendingRootSiblings({item("menu")});
  ASSERT_NE(extended->focusedElement, nullptr);
  EXPECT_NE(extended->focusedElement, button);
  EXPECT_EQ(extended->focusedElement->axElement, first);
}

TEST_F(UIElementTreeTests, TheFocusIsFoundAgainByWhatItSays) {
  auto merged = item("merged");
  UIElementTree tree(item("window", {merged}), 7);
  tree.focusedElement = merged;
  const auto extended = tree.appStateTreeByAppendingRootSiblings({});
  ASSERT_NE(extended->focusedElement, nullptr);
  EXPECT_EQ(extended->focusedElement->title, "merged");
  EXPECT_EQ(extended->focusedElement->parentItem()->title, "window");
}

TEST_F(UIElementTreeTests, AFocusThatIsNowhereStaysEmpty) {
  UIElementTree tree(item("window"), 7);
  tree.focusedElement = item("dropped");
  EXPECT_EQ(tree.appStateTreeByAppendingRootSiblings({item("menu")})->focusedElement, nullptr);
}

}  // namespace
}  // namespace tavik
