#include "DesktopFixture.h"

namespace tavik {
namespace {

class GTK4TreeTests : public DesktopFixture {};

TEST_F(GTK4TreeTests, AWidgetGalleryReadsAsAPersonSeesIt) {
  ApplicationUnderTest gallery({"gtk4-widget-factory"});
  appeared(gallery);
  TreeNode root = tree(gallery);
  SCOPED_TRACE(root.outline());
  ASSERT_EQ(root.children.size(), 1u);
  const TreeNode& window = root.children.front();
  EXPECT_EQ(window.roleDescription, "standard window");
  EXPECT_EQ(window.title, "GTK Widget Factory");

  root.find([](const TreeNode& node) {
    EXPECT_FALSE(node.title.starts_with("Gtk")) << "a class name passes for a title";
    EXPECT_FALSE(node.description.starts_with("Gtk"));
    return false;
  });

  const TreeNode* button = root.find("AXButton", "togglebutton");
  ASSERT_TRUE(button);
  EXPECT_TRUE(button->offers("AXPress"));
  const TreeNode* password =
      root.find([](const TreeNode& node) { return node.subrole == "AXSecureTextField"; });
  ASSERT_TRUE(password);
  EXPECT_EQ(password->placeholder, "Password…");
  const TreeNode* combination =
      root.find([](const TreeNode& node) { return node.text() == "comboboxentry"; });
  ASSERT_TRUE(combination);
  EXPECT_EQ(combination->role, "AXTextField");
  EXPECT_TRUE(combination->isSettable);
  EXPECT_FALSE(root.all("AXSlider").empty());
  EXPECT_FALSE(root.all("AXProgressIndicator").empty());
}

TEST_F(GTK4TreeTests, FramesAreThoseOfTheScreen) {
  ApplicationUnderTest gallery({"gtk4-widget-factory"});
  AXElement application = appeared(gallery);
  auto window = placement.window(gallery.pid(), "GTK Widget Factory", {});
  ASSERT_TRUE(window.has_value());
  TreeNode root = tree(gallery);
  SCOPED_TRACE(root.outline());
  EXPECT_EQ(root.children.front().frame.origin, window->frame.origin);
  const TreeNode* button = root.find("AXButton", "togglebutton");
  ASSERT_TRUE(button);
  EXPECT_TRUE(window->frame.contains(button->frame));
  AXElement hit = port.copyElementAtPosition(application, button->frame.center()).value;
  EXPECT_TRUE(hit == button->element || element(hit, "AXParent") == button->element);
}

TEST_F(GTK4TreeTests, TextIsReadAndWritten) {
  ApplicationUnderTest editor({"gnome-text-editor", "--standalone"});
  appeared(editor);
  TreeNode root = tree(editor);
  SCOPED_TRACE(root.outline());
  EXPECT_TRUE(root.find("AXButton", "Open"));
  EXPECT_TRUE(root.find([](const TreeNode& node) { return node.text() == "New Document"; }));
  const TreeNode* area = root.find([](const TreeNode& node) { return node.role == "AXTextArea"; });
  ASSERT_TRUE(area);
  EXPECT_TRUE(area->isSettable);
  EXPECT_EQ(area->title, "");
  EXPECT_EQ(port.setAttributeValue(area->element, "AXValue", "one two three"), AXError::success);
  EXPECT_TRUE(becomesTrue([&] { return text(area->element, "AXValue") == "one two three"; }));
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(port.setAttributeValue(area->element, "AXSelectedTextRange", TextRange{4, 3}), AXError::success);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
  EXPECT_TRUE(becomesTrue([&] { return text(area->element, "AXSelectedText") == "two"; }));
}

}  // namespace
}  // namespace tavik
