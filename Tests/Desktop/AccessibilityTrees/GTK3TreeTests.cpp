#include "DesktopFixture.h"

namespace tavik {
namespace {

using namespace std::chrono_literals;

class GTK3TreeTests : public DesktopFixture {};

TEST_F(GTK3TreeTests, AWidgetGalleryReadsAsAPersonSeesIt) {
  ApplicationUnderTest gallery({"gtk3-widget-factory"});
  appeared(gallery);
  TreeNode root = tree(gallery);
  SCOPED_TRACE(root.outline());
  EXPECT_EQ(root.role, "AXApplication");
  EXPECT_EQ(root.title, "gtk3-widget-factory");
  ASSERT_EQ(root.children.size(), 1u);

  const TreeNode& window = root.children.front();
  EXPECT_EQ(window.role, "AXWindow");
  EXPECT_EQ(window.subrole, "AXStandardWindow");
  EXPECT_EQ(window.roleDescription, "standard window");
  EXPECT_EQ(window.title, "gtk3-widget-factory");

  const TreeNode* close = root.find("AXButton", "Close");
  ASSERT_TRUE(close);
  EXPECT_EQ(close->roleDescription, "button");
  EXPECT_TRUE(close->offers("AXPress"));
  EXPECT_TRUE(window.frame.contains(close->frame.center()));

  const TreeNode* label = root.find([](const TreeNode& node) { return node.text() == "label"; });
  ASSERT_TRUE(label);
  EXPECT_EQ(label->role, "AXStaticText");
  EXPECT_EQ(label->roleDescription, "text");
  EXPECT_EQ(label->title, "");
  EXPECT_TRUE(label->actions.empty());

  const TreeNode* placeholder = root.find([](const TreeNode& node) { return !node.placeholder.empty(); });
  ASSERT_TRUE(placeholder);
  EXPECT_EQ(placeholder->role, "AXTextField");
  EXPECT_EQ(placeholder->placeholder, "Click icon to change mode");
  EXPECT_TRUE(placeholder->isSettable);
  EXPECT_EQ(placeholder->actions, (std::vector<std::string>{"AXConfirm", "AXScrollToVisible"}));

  std::vector<std::int64_t> states;
  int disabled = 0;
  for (const TreeNode* box : root.all("AXCheckBox")) {
    if (box->title != "checkbutton") continue;
    states.push_back(*box->value.get<std::int64_t>());
    if (!box->isEnabled) ++disabled;
  }
  std::sort(states.begin(), states.end());
  EXPECT_EQ(states, (std::vector<std::int64_t>{0, 0, 1, 1, 2, 2}));
  EXPECT_EQ(disabled, 3);

  const TreeNode* choice = root.find([](const TreeNode& node) { return node.role == "AXPopUpButton"; });
  ASSERT_TRUE(choice);
  EXPECT_EQ(choice->text(), "Left");
  EXPECT_EQ(choice->title, "");
  EXPECT_FALSE(root.all("AXComboBox").empty());

  const TreeNode* stepper = root.find([](const TreeNode& node) { return node.role == "AXIncrementor"; });
  ASSERT_TRUE(stepper);
  EXPECT_EQ(*stepper->value.get<double>(), 50);
  EXPECT_TRUE(stepper->isSettable);
  EXPECT_TRUE(stepper->offers("AXIncrement"));
  EXPECT_TRUE(stepper->offers("AXDecrement"));

  const TreeNode* area = root.find([](const TreeNode& node) { return node.role == "AXTextArea"; });
  ASSERT_TRUE(area);
  EXPECT_TRUE(area->text().starts_with("Lorem ipsum"));

  const TreeNode* page = root.find("AXRadioButton", "page 1");
  ASSERT_TRUE(page);
  EXPECT_EQ(page->subrole, "AXTabButton");
  EXPECT_EQ(page->roleDescription, "tab");
  EXPECT_EQ(page->selection, "selected");
  EXPECT_EQ(root.find("AXRadioButton", "page 2")->selection, "selectable");
}

TEST_F(GTK3TreeTests, CellsThatStandInATableAreReadAsRows) {
  ApplicationUnderTest gallery({"gtk3-widget-factory"});
  appeared(gallery);
  TreeNode root = tree(gallery);
  SCOPED_TRACE(root.outline());
  const TreeNode* table = root.find([](const TreeNode& node) { return node.role == "AXTable"; });
  ASSERT_TRUE(table);
  std::vector<const TreeNode*> rows = table->all("AXRow");
  ASSERT_EQ(rows.size(), 4u);
  const TreeNode& row = *rows.front();
  EXPECT_EQ(row.roleDescription, "row");
  ASSERT_EQ(row.children.size(), 4u);
  EXPECT_EQ(row.children[0].role, "AXCheckBox");
  EXPECT_EQ(row.children[2].title, "Andrea");
  EXPECT_EQ(row.children[3].title, "Cimi");
  EXPECT_TRUE(row.frame.contains(row.children[3].frame));
  EXPECT_EQ(element(row.children[3].element, "AXParent"), row.element);
  EXPECT_EQ(element(row.element, "AXParent"), table->element);
  EXPECT_EQ(table->all("AXButton").size(), 4u);

  EXPECT_EQ(port.setAttributeValue(rows[1]->element, "AXSelected", true), AXError::success);
  EXPECT_TRUE(becomesTrue([&] {
    AXValue selected = port.copyAttributeValue(table->element, "AXSelectedRows").value;
    auto* array = selected.get<AXArray>();
    return array && array->size() == 1 && *array->front().get<AXElement>() == rows[1]->element;
  }));
}

TEST_F(GTK3TreeTests, ActionsAndValuesReachTheApplication) {
  ApplicationUnderTest gallery({"gtk3-widget-factory"});
  appeared(gallery);
  TreeNode root = tree(gallery);
  SCOPED_TRACE(root.outline());
  auto find = [&](const TreeNode::Condition& condition) {
    const TreeNode* node = root.find(condition);
    return node ? node->element : AXElement();
  };
  AXElement box = find(
      [](const TreeNode& n) { return n.title == "checkbutton" && n.isEnabled && n.value == AXValue(0); });
  double before = number(box, "AXValue");
  EXPECT_EQ(port.performAction(box, "AXPress"), AXError::success);
  EXPECT_TRUE(becomesTrue([&] { return number(box, "AXValue") != before; }));

  AXElement slider = find([](const TreeNode& n) { return n.role == "AXSlider" && n.isSettable; });
  EXPECT_EQ(port.setAttributeValue(slider, "AXValue", 75.0), AXError::success);
  EXPECT_TRUE(becomesTrue([&] { return number(slider, "AXValue") == 75; }));
  EXPECT_EQ(port.performAction(slider, "AXDecrement"), AXError::success);
  EXPECT_TRUE(becomesTrue([&] { return number(slider, "AXValue") == 74; }));

  AXElement field = find([](const TreeNode& n) { return !n.placeholder.empty(); });
  EXPECT_EQ(port.setAttributeValue(field, "AXValue", "Grüße 你好 😀 end"), AXError::success);
  EXPECT_TRUE(becomesTrue([&] { return text(field, "AXValue") == "Grüße 你好 😀 end"; }));
  EXPECT_EQ(port.setAttributeValue(field, "AXSelectedTextRange", TextRange{6, 5}), AXError::success);
  EXPECT_TRUE(becomesTrue([&] { return text(field, "AXSelectedText") == "你好 😀"; }));
  EXPECT_EQ(port.setAttributeValue(field, "AXSelectedText", "X"), AXError::success);
  EXPECT_TRUE(becomesTrue([&] { return text(field, "AXValue") == "Grüße X end"; }));
  EXPECT_EQ(number(field, "AXNumberOfCharacters"), 11);
  AXValue part = port.copyParameterizedAttributeValue(field, "AXStringForRange", TextRange{0, 5}).value;
  EXPECT_EQ(part, AXValue("Grüße"));

  EXPECT_EQ(port.performAction(box, "AXNonsense"), AXError::actionUnsupported);
  EXPECT_EQ(port.setAttributeValue(box, "AXRole", "AXButton"), AXError::attributeUnsupported);
  EXPECT_EQ(port.copyAttributeValue(box, "AXNonsense").code, AXError::attributeUnsupported);
}

TEST_F(GTK3TreeTests, AClosedMenuIsATitleAndAnOpenOneHoldsItsItems) {
  ApplicationUnderTest editor({"mousepad"});
  AXElement application = appeared(editor);
  TreeNode root = tree(editor);
  SCOPED_TRACE(root.outline());
  const TreeNode* bar = root.find([](const TreeNode& node) { return node.role == "AXMenuBar"; });
  ASSERT_TRUE(bar);
  EXPECT_EQ(bar->roleDescription, "menu bar");
  EXPECT_EQ(element(application, "AXMenuBar"), bar->element);
  std::vector<std::string> titles;
  for (const TreeNode& item : bar->children) {
    EXPECT_EQ(item.role, "AXMenuBarItem");
    EXPECT_TRUE(item.children.empty());
    titles.push_back(item.title);
  }
  EXPECT_EQ(titles, (std::vector<std::string>{"File", "Edit", "Search", "View", "Document", "Help"}));

  AXElement view = bar->children[3].element;
  EXPECT_FALSE(element(view, "AXShownMenuUIElement"));
  ASSERT_EQ(port.performAction(view, "AXPress"), AXError::success);
  ASSERT_TRUE(becomesTrue([&] { return static_cast<bool>(element(view, "AXShownMenuUIElement")); }));
  AXElement menu = element(view, "AXShownMenuUIElement");
  EXPECT_EQ(text(menu, "AXRole"), "AXMenu");
  EXPECT_EQ(element(menu, "AXParent"), view);
  TreeNode opened = readTree(port, view);
  SCOPED_TRACE(opened.outline());
  const TreeNode* lineNumbers = opened.find("AXMenuItem", "Line Numbers");
  ASSERT_TRUE(lineNumbers);
  EXPECT_TRUE(lineNumbers->offers("AXPress"));
  EXPECT_EQ(element(lineNumbers->element, "AXParent"), menu);
}

TEST_F(GTK3TreeTests, TheFocusedElementIsTheOneThatTakesTheKeys) {
  ApplicationUnderTest editor({"mousepad"});
  AXElement application = appeared(editor);
  ASSERT_TRUE(becomesTrue(
      [&] { return text(element(application, "AXFocusedUIElement"), "AXRole") == "AXTextArea"; }));
  AXElement focused = element(application, "AXFocusedUIElement");
  EXPECT_EQ(port.copyAttributeValue(focused, "AXFocused").value, AXValue(true));
  AXElement window = element(application, "AXFocusedWindow");
  EXPECT_EQ(text(window, "AXRole"), "AXWindow");
  EXPECT_EQ(element(focused, "AXWindow"), window);
  EXPECT_EQ(port.copyAttributeValue(window, "AXMain").value, AXValue(true));
  {
    auto scope = port.beginReadScope(application);
    EXPECT_EQ(element(application, "AXFocusedUIElement"), focused);
  }
}

TEST_F(GTK3TreeTests, APointNamesTheElementUnderIt) {
  ApplicationUnderTest gallery({"gtk3-widget-factory"});
  AXElement application = appeared(gallery);
  TreeNode root = tree(gallery);
  SCOPED_TRACE(root.outline());
  const TreeNode* button = root.find("AXButton", "Close");
  ASSERT_TRUE(button);
  EXPECT_EQ(port.copyElementAtPosition(application, button->frame.center()).value, button->element);
  const TreeNode* box = root.find("AXCheckBox", "checkbutton");
  EXPECT_EQ(port.copyElementAtPosition(port.createSystemWide(), box->frame.center()).value, box->element);
  EXPECT_EQ(port.copyElementAtPosition(application, {-50, -50}).code, AXError::noValue);
}

TEST_F(GTK3TreeTests, WhatAPersonReadsAndWhatAScopeReadsIsTheSame) {
  ApplicationUnderTest calculator({"galculator"});
  AXElement application = appeared(calculator);
  TreeNode root = tree(calculator);
  SCOPED_TRACE(root.outline());
  root.find([&](const TreeNode& node) {
    EXPECT_EQ(text(node.element, "AXRole"), node.role);
    EXPECT_EQ(text(node.element, "AXTitle"), node.title);
    EXPECT_EQ(port.copyActionNames(node.element).value, node.actions);
    AXResult<AXValue> value = port.copyAttributeValue(node.element, "AXValue");
    EXPECT_EQ(value.ok() ? value.value : AXValue(), node.value);
    return false;
  });
}

TEST_F(GTK3TreeTests, AScopeSeesWhatItsOwnActionsChanged) {
  ApplicationUnderTest calculator({"galculator"});
  AXElement application = appeared(calculator);
  TreeNode root = tree(calculator);
  SCOPED_TRACE(root.outline());
  const TreeNode* seven = root.find([](const TreeNode& node) { return node.title == "7"; });
  const TreeNode* display = root.find([](const TreeNode& node) { return node.role == "AXTextArea"; });
  ASSERT_TRUE(seven && display);
  auto scope = port.beginReadScope(application);
  EXPECT_EQ(text(display->element, "AXValue"), "0");
  EXPECT_EQ(port.performAction(seven->element, "AXPress"), AXError::success);
  EXPECT_TRUE(becomesTrue([&] {
    port.performAction(seven->element, "AXNonsense");
    return text(display->element, "AXValue") == "7";
  }));
}

}  // namespace
}  // namespace tavik
