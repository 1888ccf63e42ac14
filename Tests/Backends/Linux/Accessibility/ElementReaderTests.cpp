#include "Backends/Linux/Accessibility/ElementReader.h"

#include <gtest/gtest.h>

#include "Support/AccessibleApplicationFake.h"
#include "Support/PrivateBus.h"

namespace tavik {
namespace {

using namespace std::chrono_literals;
using Role = AccessibleRole;
using State = AccessibleState;

const std::vector<State> shown = {State::enabled, State::showing, State::visible};
const std::vector<State> hidden = {State::enabled};

class NoPlacement : public WindowPlacement {
 public:
  std::optional<PlacedWindow> window(std::int32_t, const std::string&, Size) override { return std::nullopt; }
  std::optional<std::int32_t> frontmostProcess(Point) override { return std::nullopt; }
};

/// Reads an application that the test makes up.
class ElementReaderTests : public testing::Test {
 protected:
  BusConnection::AddressProvider address() {
    return [this] { return bus.address(); };
  }
  AccessibleTree tree(std::chrono::milliseconds timeout = 5s, Toolkit toolkit = Toolkit::other) {
    return AccessibleTree(client, habits, {fake.application(toolkit)}, timeout);
  }
  LinuxElement element(int number) {
    return {.kind = LinuxElement::Kind::object, .pid = 7, .object = fake.reference(number), .anchor = {}};
  }
  std::vector<std::string> titles(ElementReader& reader, const std::vector<LinuxElement>& elements) {
    std::vector<std::string> result;
    for (const LinuxElement& each : elements) {
      AXValue title = reader.attribute(each, "AXTitle").value;
      result.push_back(title.get<std::string>() ? *title.get<std::string>() : "");
    }
    return result;
  }

  PrivateBus bus;
  BusConnection client{address()};
  AccessibleApplicationFake fake{address()};
  ApplicationHabits habits;
  NoPlacement placement;
};

TEST_F(ElementReaderTests, HiddenElementsAreLeftOut) {
  int window = fake.add(0, {.role = Role::frame, .name = "Window"});
  fake.add(window, {.role = Role::pushButton, .name = "Shown"});
  fake.add(window, {.role = Role::pushButton, .name = "Hidden", .states = hidden});
  fake.serve();
  AccessibleTree read = tree();
  ElementReader reader(read, placement, 7);
  EXPECT_EQ(titles(reader, reader.children(element(window))), std::vector<std::string>{"Shown"});
}

TEST_F(ElementReaderTests, AWholeTreeIsAskedInAdvanceAndAnsweredWithoutTheApplication) {
  int window = fake.add(0, {.role = Role::frame, .name = "Window"});
  for (int i = 0; i < 50; ++i) {
    int panel = fake.add(window, {});
    fake.add(panel, {.role = Role::label, .name = "Label " + std::to_string(i)});
  }
  int closed = fake.add(window, {.role = Role::panel, .name = "Closed", .states = hidden});
  for (int i = 0; i < 50; ++i) fake.add(closed, {.role = Role::label, .name = "Behind"});
  fake.serve();
  AccessibleTree read = tree();
  read.prefetch({fake.reference(0)});
  int asked = fake.allCalls();
  EXPECT_EQ(fake.calls("GetState"), 103) << "what is hidden is asked nothing more";
  EXPECT_EQ(fake.calls("GetRole"), 102);

  ElementReader reader(read, placement, 7);
  std::vector<LinuxElement> panels = reader.children(element(window));
  EXPECT_EQ(panels.size(), 50u);
  for (const LinuxElement& panel : panels) {
    for (const LinuxElement& label : reader.children(panel)) {
      EXPECT_TRUE(reader.attribute(label, "AXValue").ok());
      EXPECT_TRUE(reader.attribute(label, "AXFrame").ok());
      EXPECT_EQ(reader.parent(label), panel);
      EXPECT_FALSE(reader.isSettable(label, "AXValue"));
    }
  }
  EXPECT_EQ(fake.allCalls(), asked);
}

TEST_F(ElementReaderTests, ATreeThatComesBackToItselfIsReadOnce) {
  int window = fake.add(0, {.role = Role::frame});
  int panel = fake.add(window, {});
  fake[panel].children = {window, panel, panel};
  fake.serve();
  AccessibleTree read = tree();
  read.prefetch({fake.reference(0)});
  EXPECT_EQ(fake.calls("GetChildren"), 3);
  fake[panel].parent = panel;
  ElementReader reader(read, placement, 7);
  EXPECT_FALSE(reader.attribute(element(window), "AXSelectedChildren").ok());
  EXPECT_TRUE(reader.attribute(element(panel), "AXWindow").ok());
}

TEST_F(ElementReaderTests, AChainOfParentsWithoutEndIsGivenUp) {
  int last = fake.add(0, {.role = Role::frame});
  for (int i = 0; i < 1'500; ++i) last = fake.add(last, {});
  fake.serve();
  AccessibleTree read = tree();
  read.prefetch({fake.reference(0)});
  ElementReader reader(read, placement, 7);
  EXPECT_EQ(reader.attribute(element(last), "AXWindow").code, AXError::noValue);
}

TEST_F(ElementReaderTests, AHugeTreeIsCutShortInTime) {
  int window = fake.add(0, {.role = Role::frame});
  for (int i = 0; i < 100'000; ++i) fake.add(window, {.role = Role::label, .name = "x"});
  fake.serve();
  AccessibleTree read = tree();
  auto start = std::chrono::steady_clock::now();
  read.prefetch({fake.reference(0)});
  // Far above what it takes, and far below what a hang would.
  EXPECT_LT(std::chrono::steady_clock::now() - start, 60s);
}

TEST_F(ElementReaderTests, SilenceInTheMiddleCostsOneTimeOut) {
  int window = fake.add(0, {.role = Role::frame});
  for (int i = 0; i < 200; ++i) fake.add(window, {.role = Role::pushButton, .name = "x"});
  fake.serve();
  fake.stopAnsweringAfter(300);
  AccessibleTree read = tree(200ms);
  auto start = std::chrono::steady_clock::now();
  read.prefetch({fake.reference(0)});
  ElementReader reader(read, placement, 7);
  EXPECT_EQ(reader.prepare(element(150)), AXError::cannotComplete);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
  read.beginOperation();
  EXPECT_EQ(reader.prepare(element(150)), AXError::cannotComplete) << "a new operation tries anew";
}

TEST_F(ElementReaderTests, NonsenseReadsAsNothing) {
  int window = fake.add(0, {.role = Role::frame});
  fake.serve();
  fake.answerNonsense();
  AccessibleTree read = tree();
  ElementReader reader(read, placement, 7);
  EXPECT_EQ(reader.prepare(element(window)), AXError::success);
  EXPECT_EQ(reader.attribute(element(window), "AXRole").value, AXValue("AXGroup"));
  EXPECT_FALSE(reader.attribute(element(window), "AXTitle").ok());
  EXPECT_TRUE(reader.children(element(window)).empty());
  EXPECT_TRUE(reader.actions(element(window)).empty());
}

TEST_F(ElementReaderTests, AnObjectThatIsGoneIsInvalid) {
  fake.add(0, {.role = Role::frame});
  fake.serve();
  AccessibleTree read = tree();
  ElementReader reader(read, placement, 7);
  EXPECT_EQ(reader.prepare(element(999)), AXError::invalidUIElement);
}

TEST_F(ElementReaderTests, ActionsAreNamedAlikeInEveryLanguageAndTheirNamesLearnedOnce) {
  int window = fake.add(0, {.role = Role::frame});
  for (int i = 0; i < 30; ++i) {
    fake.add(window, {.role = Role::pushButton,
                      .interfaces = {"org.a11y.atspi.Component", "org.a11y.atspi.Action"},
                      .actions = {{"click", "Klicken"}}});
  }
  fake.serve();
  AccessibleTree read = tree();
  read.prefetch({fake.reference(0)});
  ElementReader reader(read, placement, 7);
  for (const LinuxElement& button : reader.children(element(window))) {
    ASSERT_EQ(reader.actions(button).size(), 1u);
    EXPECT_EQ(reader.actions(button).front().name, "AXPress");
  }
  EXPECT_EQ(fake.calls("GetName"), 1);
}

TEST_F(ElementReaderTests, CellsOnOneLineAreOneRow) {
  int window = fake.add(0, {.role = Role::frame});
  int table = fake.add(window, {.role = Role::table});
  fake.add(table, {.role = Role::tableColumnHeader, .name = "Name"});
  std::vector<State> selected = shown;
  selected.push_back(State::selectable);
  selected.push_back(State::selected);
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 2; ++column) {
      fake.add(table, {.role = Role::tableCell,
                       .name = std::to_string(row) + std::to_string(column),
                       .states = row == 1 ? selected : shown,
                       .extents = {{column * 50.0, 20.0 * row}, {50, 20}}});
    }
  }
  fake.serve();
  AccessibleTree read = tree();
  ElementReader reader(read, placement, 7);
  std::vector<LinuxElement> children = reader.children(element(table));
  ASSERT_EQ(children.size(), 4u);
  EXPECT_STREQ(reader.role(children[0]).description, "column header");
  EXPECT_EQ(children[1].kind, LinuxElement::Kind::row);
  EXPECT_EQ(titles(reader, reader.children(children[2])), (std::vector<std::string>{"10", "11"}));
  EXPECT_EQ(reader.frame(children[2]), (Rect{{0, 20}, {100, 20}}));
  EXPECT_EQ(reader.attribute(children[2], "AXSelected").value, AXValue(true));
  EXPECT_FALSE(reader.attribute(children[1], "AXSelected").ok());
  AXValue rows = reader.attribute(element(table), "AXSelectedRows").value;
  ASSERT_EQ(rows.get<AXArray>()->size(), 1u);
  EXPECT_EQ(rows.get<AXArray>()->front(), AXValue(LinuxElement::handle(children[2])));
  LinuxElement cell = reader.children(children[2]).front();
  EXPECT_EQ(reader.parent(cell), children[2]);
}

TEST_F(ElementReaderTests, ItemsOfAMenuTitleStandInAMenuOnceItIsOpen) {
  int window = fake.add(0, {.role = Role::frame});
  int bar = fake.add(window, {.role = Role::menuBar});
  int file = fake.add(bar, {.role = Role::menu, .name = "File"});
  int item = fake.add(file, {.role = Role::menuItem, .name = "New", .states = hidden});
  fake.serve();
  {
    AccessibleTree read = tree();
    ElementReader reader(read, placement, 7);
    EXPECT_STREQ(reader.role(element(file)).role, "AXMenuBarItem");
    EXPECT_TRUE(reader.children(element(file)).empty());
    EXPECT_EQ(reader.attribute(element(file), "AXShownMenuUIElement").code, AXError::noValue);
  }
  fake[item].states = shown;
  AccessibleTree read = tree();
  ElementReader reader(read, placement, 7);
  std::vector<LinuxElement> children = reader.children(element(file));
  ASSERT_EQ(children.size(), 1u);
  EXPECT_STREQ(reader.role(children.front()).role, "AXMenu");
  EXPECT_EQ(reader.children(children.front()), std::vector{element(item)});
  EXPECT_EQ(reader.parent(element(item)), children.front());
  EXPECT_EQ(reader.parent(children.front()), element(file));
}

TEST_F(ElementReaderTests, ADescriptionLabelsWhatHasNoNameAndHelpsWhatHasOne) {
  int window = fake.add(0, {.role = Role::frame});
  int named = fake.add(window, {.role = Role::pushButton, .name = "Save", .description = "Saves the file"});
  int bare = fake.add(window, {.role = Role::pushButton, .description = "Saves the file"});
  int same = fake.add(window, {.role = Role::pushButton, .name = "Save", .description = "Save"});
  int text = fake.add(window, {.role = Role::label, .name = "Words"});
  fake.serve();
  AccessibleTree read = tree();
  ElementReader reader(read, placement, 7);
  EXPECT_EQ(reader.attribute(element(named), "AXHelp").value, AXValue("Saves the file"));
  EXPECT_FALSE(reader.attribute(element(named), "AXDescription").ok());
  EXPECT_EQ(reader.attribute(element(bare), "AXDescription").value, AXValue("Saves the file"));
  EXPECT_FALSE(reader.attribute(element(bare), "AXTitle").ok());
  EXPECT_FALSE(reader.attribute(element(same), "AXHelp").ok());
  EXPECT_EQ(reader.attribute(element(text), "AXValue").value, AXValue("Words"));
  EXPECT_FALSE(reader.attribute(element(text), "AXTitle").ok());
}

}  // namespace
}  // namespace tavik
