#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "DesktopFixture.h"

namespace tavik {
namespace {

constexpr std::string_view page = R"(<!doctype html><html><head><title>Order form</title></head><body>
<h1>Order form</h1><p>Please fill in <b>every</b> field.</p>
<form><label for=n>Name</label> <input id=n value="Ada" placeholder="Your name"><br>
<label><input type=checkbox checked> Gift wrap</label>
<select aria-label="Colour"><option>Red<option>Green</select>
<input type=range min=0 max=10 value=3 aria-label="Amount"><textarea aria-label="Notes">Hello world</textarea><br>
<a href="https://example.com/docs">Docs</a>
<button type=button onclick="document.getElementById('n').value='pressed'">Send order</button>
<button disabled>Locked</button>
<table border=1><tr><th>Item<th>Price</tr><tr><td>Pen<td>3</tr></table><ul><li>First<li>Second</ul></form></body></html>)";

/// A browser that shows one local page.
class BrowserTreeTests : public DesktopFixture {
 protected:
  BrowserTreeTests() {
    std::ofstream(directory + "/page.html") << page;
    browser = std::make_unique<ApplicationUnderTest>(std::vector<std::string>{
        "chromium", "--no-sandbox", "--force-renderer-accessibility", "--disable-quic", "--no-first-run",
        "--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-gpu",
        "--no-default-browser-check", "--password-store=basic", "--user-data-dir=" + directory + "/profile",
        "file://" + directory + "/page.html"});
  }
  ~BrowserTreeTests() override {
    browser->kill();
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
  }

  static std::string makeDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tavik-browser-XXXXXX").string();
    return mkdtemp(pattern.data());
  }

  /// The tree once the page is in it.
  TreeNode loadedTree() {
    TreeNode root;
    EXPECT_TRUE(becomesTrue(
        [&] {
          root = tree(*browser);
          return root.find("AXButton", "Send order") != nullptr;
        },
        std::chrono::seconds(40)));
    return root;
  }

  const std::string directory = makeDirectory();
  std::unique_ptr<ApplicationUnderTest> browser;
};

TEST_F(BrowserTreeTests, APageReadsAsAPersonSeesIt) {
  TreeNode root = loadedTree();
  SCOPED_TRACE(root.outline());
  ASSERT_EQ(root.children.size(), 1u);
  EXPECT_EQ(root.children.front().title, "Order form - Chromium");
  const TreeNode* area = root.find("AXWebArea", "Order form");
  ASSERT_TRUE(area);
  EXPECT_EQ(area->roleDescription, "HTML content");
  EXPECT_EQ(area->url, "file://" + directory + "/page.html");
  EXPECT_TRUE(area->find("AXHeading", "Order form"));

  const TreeNode* name = area->find("AXTextField", "Name");
  ASSERT_TRUE(name);
  EXPECT_EQ(name->text(), "Ada");
  EXPECT_EQ(name->placeholder, "Your name");
  const TreeNode* wrap = area->find("AXCheckBox", "Gift wrap");
  ASSERT_TRUE(wrap);
  EXPECT_EQ(wrap->value, AXValue(1));
  EXPECT_TRUE(wrap->offers("AXPress"));
  const TreeNode* colour = area->find("AXPopUpButton", "Colour");
  ASSERT_TRUE(colour);
  EXPECT_EQ(colour->text(), "Red");
  const TreeNode* amount = area->find("AXSlider", "Amount");
  ASSERT_TRUE(amount);
  EXPECT_EQ(*amount->value.get<double>(), 3);
  EXPECT_TRUE(amount->isSettable);
  EXPECT_EQ(area->find("AXTextArea", "Notes")->text(), "Hello world");
  EXPECT_EQ(area->find("AXLink", "Docs")->url, "https://example.com/docs");
  EXPECT_FALSE(area->find("AXButton", "Locked")->isEnabled);
  ASSERT_EQ(area->all("AXRow").size(), 2u);
  EXPECT_TRUE(area->all("AXRow")[1]->find("AXCell", "Pen"));
  for (const TreeNode* text : area->all("AXStaticText")) {
    EXPECT_TRUE(text->actions.empty()) << text->text();
    EXPECT_NE(text->text(), "\n");
  }
}

TEST_F(BrowserTreeTests, ActionsReachThePage) {
  TreeNode root = loadedTree();
  SCOPED_TRACE(root.outline());
  AXElement name = root.find("AXTextField", "Name")->element;
  EXPECT_EQ(port.performAction(root.find("AXButton", "Send order")->element, "AXPress"), AXError::success);
  EXPECT_TRUE(becomesTrue([&] { return text(name, "AXValue") == "pressed"; }));
  AXElement wrap = root.find("AXCheckBox", "Gift wrap")->element;
  EXPECT_EQ(port.setAttributeValue(wrap, "AXValue", 0), AXError::attributeUnsupported) << "a state, which is pressed";
  EXPECT_EQ(port.performAction(wrap, "AXPress"), AXError::success);
  EXPECT_TRUE(becomesTrue([&] { return number(wrap, "AXValue") == 0; }));
  AXElement amount = root.find("AXSlider", "Amount")->element;
  EXPECT_EQ(port.setAttributeValue(amount, "AXValue", 8), AXError::success);
  EXPECT_TRUE(becomesTrue([&] { return number(amount, "AXValue") == 8; }));
  EXPECT_TRUE(port.isAttributeSettable(name, "AXFocused").value);
  EXPECT_EQ(port.setAttributeValue(name, "AXFocused", true), AXError::success);
  AXElement application = port.createApplication(browser->pid());
  EXPECT_TRUE(becomesTrue([&] { return element(application, "AXFocusedUIElement") == name; }));
  EXPECT_EQ(port.performAction(name, "AXScrollToVisible"), AXError::success);
}

}  // namespace
}  // namespace tavik
