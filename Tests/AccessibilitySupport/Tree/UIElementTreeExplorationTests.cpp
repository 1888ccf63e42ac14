#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "AccessibilitySupport/Tree/UIElementTreeTransformationRunner.h"
#include "LiveTree.h"
#include "Tests/Support/EmptyWorkspace.h"

// Trees that no application would show, for what holds of every tree.

namespace tavik {
namespace {

/// Makes items of anything: roles in odd places, empty and ill-formed texts, and
/// live elements that answer with values of any kind.
class AnyItems {
 public:
  AnyItems(std::uint64_t seed, AccessDesk& desk) : random_(seed), live_(desk) {}

  std::shared_ptr<Item> tree(int depth) {
    Item::Children children;
    if (depth > 0) {
      for (int count = below(5); count > 0; --count) children.push_back(tree(depth - 1));
    }
    const auto made = one(3) ? live_.item(values(), node()) : item(values());
    made->setChildItems(std::move(children));
    elements_.push_back(made->axElement);
    return made;
  }

 private:
  int below(int bound) { return std::uniform_int_distribution(0, bound - 1)(random_); }
  bool one(int in) { return below(in) == 0; }

  std::string text() {
    static const std::vector<std::string> texts = {
        "",       " ",    "Save", "Save",   "row",    " Row\n",   "container", "应用",  "HTML 内容", "tab",
        "editor", "标签", "_NS",  "_NS:12", "a\n\tb", "\xff\xfe", "e\xcc\x81", "Apple", "ListColumn"};
    return texts[static_cast<std::size_t>(below(static_cast<int>(texts.size())))];
  }
  std::optional<std::string> maybeText() { return one(3) ? std::optional(text()) : std::nullopt; }

  std::optional<std::string> role() {
    static const std::vector<std::string> roles = {
        "AXGroup",     "AXGroup",   "AXGroup",       "AXStaticText",  "AXStaticText", "AXRow",
        "AXCell",      "AXLink",    "AXWebArea",     "AXTextArea",    "AXButton",     "AXWindow",
        "AXColumn",    "AXMenuBar", "AXMenuBarItem", "AXApplication", "AXList",       "AXImage",
        "AXScrollBar", "AXTab",     "Debug",         "AXLayoutArea",  "AX",           "",
        "AXTextField"};
    if (one(12)) return std::nullopt;
    return roles[static_cast<std::size_t>(below(static_cast<int>(roles.size())))];
  }

  std::vector<std::string> actions() {
    static const std::vector<std::string> names = {"AXPress",      "AXDelete", "AXScrollUpByPage",
                                                   "AXZoomWindow", "Shake",    "AXShowAlternateUI"};
    std::vector<std::string> some;
    for (const auto& name : names) {
      if (one(8)) some.push_back(name);
    }
    return some;
  }

  UIElementTreeItemValues values() {
    UIElementTreeItemValues made;
    made.role = role();
    for (auto* field : {&made.roleDescription, &made.title, &made.value, &made.elementDescription}) {
      *field = maybeText();
    }
    if (one(6)) made.identifier = text();
    if (one(8)) made.help = text();
    if (one(8)) made.placeholderValue = text();
    if (one(6)) made.url = AXURL{text()};
    if (one(4)) made.frame = Rect{{1, 2}, {3, 4}};
    made.isEnabled = !one(4);
    made.isSelectable = one(4);
    made.isSelected = one(6);
    made.isFocused = one(10);
    made.isValueSettable = one(6);
    if (made.isValueSettable) made.valueType = "string";
    made.actions = actions();
    return made;
  }

  AXValue anyValue() {
    switch (below(6)) {
      case 0:
        return text();
      case 1:
        return one(2);
      case 2:
        return TextRange{below(4) - 1, below(4)};
      case 3:
        return AXAttributedText{text()};
      case 4:
        return elements_.empty() ? AXValue() : AXValue(anyElement());
      default:
        return elements_.empty() ? AXArray{} : AXArray{anyElement(), text(), anyElement()};
    }
  }
  AXElement anyElement() {
    return elements_[static_cast<std::size_t>(below(static_cast<int>(elements_.size())))];
  }

  ScriptedNode node() {
    ScriptedNode made;
    for (const char* attribute :
         {"AXTitleUIElement", "AXVisibleCharacterRange", "AXAttributedStringForRange", "AXStringForRange",
          "AXTextMarkerRange", "AXStringForTextMarkerRange", "AXSelected", "AXSelectedChildren",
          "AXSelectedRows", "AXSelectedCells", "AXSelectedText", "AXSelectedTextRange", "AXValue"}) {
      if (one(3)) made.attributes[attribute] = anyValue();
    }
    if (one(3)) made.actionDescriptions["Shake"] = text();
    return made;
  }

  std::mt19937_64 random_;
  LiveTree live_;
  std::vector<AXElement> elements_;
};

void expectWholeTree(const UIElementTree& tree) {
  int next = 0;
  for (const auto& item : tree.allItems()) {
    for (const auto& child : item->childItems) EXPECT_EQ(child->parentItem(), item);
    if (!item->elementIndex || tree.item(*item->elementIndex) != item) continue;
    EXPECT_EQ(*item->elementIndex, next++);
  }
  EXPECT_EQ(static_cast<std::size_t>(next), tree.itemsByIndex.size());
}

class UIElementTreeExplorationTests : public testing::TestWithParam<int> {};

TEST_P(UIElementTreeExplorationTests, WhateverItHoldsATreeIsShapedNumberedAndWrittenDown) {
  constexpr int treesEach = 50;
  for (int round = 0; round < treesEach; ++round) {
    const auto seed = static_cast<std::uint64_t>(GetParam() * treesEach + round);
    SCOPED_TRACE("seed " + std::to_string(seed));
    SimulatedScheduler scheduler;
    AccessDesk desk(scheduler);
    EmptyWorkspace workspace;
    const UIElementTreeTransformationRunner runner(workspace);
    UIElementTree tree(AnyItems(seed, desk).tree(5), AccessDesk::appPID);
    desk.run([&] {
      tree.assignIndices();
      expectWholeTree(tree);
      const std::size_t before = tree.allItems().size();
      tree.serialize();

      runner.transform(tree);
      expectWholeTree(tree);
      EXPECT_LE(tree.allItems().size(), before);
      const std::string text = tree.serializeForAppState();
      EXPECT_EQ(text, tree.serializeForAppState());
      tree.focusedElementDescription();
      tree.selectedElementsDescription();

      tree.assignMinimalAppStateIndices(3);
      EXPECT_LE(tree.itemsByIndex.size(), 3u);
    });
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, UIElementTreeExplorationTests, testing::Range(0, 10));

}  // namespace
}  // namespace tavik
