#include "DesktopFixture.h"

namespace tavik {
namespace {

class QtTreeTests : public DesktopFixture {};

TEST_F(QtTreeTests, ACalculatorReadsAndCounts) {
  ApplicationUnderTest calculator({"kcalc"});
  appeared(calculator);
  TreeNode root = tree(calculator);
  SCOPED_TRACE(root.outline());
  ASSERT_EQ(root.children.size(), 1u);
  EXPECT_EQ(root.children.front().roleDescription, "standard window");
  EXPECT_EQ(root.children.front().title, "KCalc");
  const TreeNode* display = root.find([](const TreeNode& node) { return node.help == "Result Display"; });
  ASSERT_TRUE(display);
  EXPECT_EQ(display->role, "AXGroup");
  EXPECT_EQ(display->title, "0");
  for (const char* key : {"7", "×", "6", "="}) {
    const TreeNode* button = root.find("AXButton", key);
    ASSERT_TRUE(button) << key;
    EXPECT_EQ(button->actions, std::vector<std::string>{"AXPress"});
    EXPECT_TRUE(root.children.front().frame.contains(button->frame));
    EXPECT_EQ(port.performAction(button->element, "AXPress"), AXError::success);
  }
  EXPECT_TRUE(becomesTrue([&] { return text(display->element, "AXTitle") == "42"; }));
  EXPECT_EQ(root.find("AXButton", "×")->help, "Multiplication");
  EXPECT_FALSE(root.find("AXButton", "OR")) << "a button of a hidden part is shown";
}

TEST_F(QtTreeTests, AMenuOfAQtApplicationOpensAndCloses) {
  ApplicationUnderTest calculator({"kcalc"});
  AXElement application = appeared(calculator);
  AXElement bar = element(application, "AXMenuBar");
  TreeNode menus = readTree(port, bar);
  SCOPED_TRACE(menus.outline());
  const TreeNode* settings = menus.find("AXMenuBarItem", "Settings");
  ASSERT_TRUE(settings);
  EXPECT_TRUE(settings->children.empty());
  EXPECT_TRUE(settings->offers("AXPress"));
  ASSERT_EQ(port.performAction(settings->element, "AXPress"), AXError::success);
  ASSERT_TRUE(
      becomesTrue([&] { return static_cast<bool>(element(settings->element, "AXShownMenuUIElement")); }));
  TreeNode opened = readTree(port, settings->element);
  SCOPED_TRACE(opened.outline());
  ASSERT_EQ(opened.children.size(), 1u);
  EXPECT_EQ(opened.children.front().role, "AXMenu");
  EXPECT_FALSE(opened.all("AXMenuItem").empty());
}

TEST_F(QtTreeTests, AnEditorTakesTextAndNamesItsFocus) {
  ApplicationUnderTest editor({"featherpad", "--standalone"});
  AXElement application = appeared(editor);
  TreeNode root = tree(editor);
  SCOPED_TRACE(root.outline());
  const TreeNode* area = root.find([](const TreeNode& node) { return node.role == "AXTextArea"; });
  ASSERT_TRUE(area);
  EXPECT_EQ(port.setAttributeValue(area->element, "AXValue", "Größe 😀"), AXError::success);
  EXPECT_TRUE(becomesTrue([&] { return text(area->element, "AXValue") == "Größe 😀"; }));
  const TreeNode* match =
      root.find([](const TreeNode& node) { return node.description == "Match Case (F5)"; });
  if (match) {
    EXPECT_EQ(match->role, "AXCheckBox");
    EXPECT_EQ(match->value, AXValue(0));
  }
  const TreeNode* tab = root.find("AXRadioButton", "Untitled");
  ASSERT_TRUE(tab);
  EXPECT_EQ(tab->value, AXValue(1));
  EXPECT_FALSE(tab->isFocused);
  EXPECT_TRUE(becomesTrue([&] { return element(application, "AXFocusedUIElement") == area->element; }));
  const TreeNode* undo = root.find("AXButton", "Undo");
  ASSERT_TRUE(undo);
}

TEST_F(QtTreeTests, AQtSixApplicationReadsWithoutWhatLiesBehindItsTabs) {
  ApplicationUnderTest designer({"/usr/lib/qt6/bin/designer"});
  appeared(designer);
  TreeNode root = tree(designer);
  SCOPED_TRACE(root.outline());
  const TreeNode* window = root.find("AXWindow", "Qt Designer");
  ASSERT_TRUE(window);
  const TreeNode* dialog = root.find([](const TreeNode& node) { return node.subrole == "AXDialog"; });
  ASSERT_TRUE(dialog);
  EXPECT_EQ(dialog->roleDescription, "dialog");
  EXPECT_TRUE(dialog->find("AXButton", "Create"));
  const TreeNode* form =
      dialog->find([](const TreeNode& node) { return node.role == "AXRow" && node.selection == "selected"; });
  ASSERT_TRUE(form);
  root.find([](const TreeNode& node) {
    EXPECT_TRUE(node.frame.isNull() || (node.frame.maxX() > 0 && node.frame.maxY() > 0)) << node.title;
    return false;
  });
}

}  // namespace
}  // namespace tavik
