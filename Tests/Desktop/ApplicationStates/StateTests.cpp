#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>

#include "StateDesk.h"

namespace tavik {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class State : public StateDesk {
 protected:
  static void xdotool(const std::string& command) { ASSERT_EQ(std::system(("xdotool " + command).c_str()), 0); }

  /// How long a look takes, in milliseconds.
  std::int64_t millisecondsToLookAt(const std::string& app) {
    const auto start = std::chrono::steady_clock::now();
    saidOf([&] { return textOf(look(app)); });
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
  }
};

TEST_F(State, OfAnApplicationThatDoesNotRunIsReadWholeAfterItsStart) {
  const auto result = look("galculator", /*allowAppLaunch=*/true);
  applications.clear();
  EXPECT_THAT(textOf(result), HasSubstr("toggle button 7"));
  EXPECT_TRUE(hasPicture(result));
  xdotool("search --class galculator windowkill");
}

TEST_F(State, OfACoveredApplicationIsReadAndPicturedWhole) {
  open({"galculator"});
  ASSERT_THAT(stateWith("galculator", "toggle button 7"), HasSubstr("toggle button 7"));
  open({"gtk3-widget-factory"});
  ASSERT_THAT(stateWith("gtk3-widget-factory", "App="), HasSubstr("App="));
  xdotool("search --sync --onlyvisible --class gtk3-widget-factory windowsize 1900 1100 windowmove 0 0 windowactivate --sync");
  const auto result = look("galculator");
  EXPECT_THAT(textOf(result), HasSubstr("toggle button 7"));
  EXPECT_TRUE(hasPicture(result));
}

TEST_F(State, HasAnOpenMenuAsItsRoot) {
  open({"galculator"});
  const std::string state = stateWith("galculator", "\t\t2 File");
  const auto file = indexOf(state, "File");
  ASSERT_GE(file, 0);
  const AXElement title = service.session().currentTree()->item(file)->axElement;
  ASSERT_EQ(access.port().performAction(title, "AXPress"), AXError::success);
  const std::string menu = stateWith("galculator", "Quit");
  EXPECT_THAT(menu, HasSubstr("Quit"));
  EXPECT_THAT(menu, Not(HasSubstr("toggle button 7")));
}

TEST_F(State, OfATerminalIsRefusedBeforeItIsRead) {
  open({"xterm"});
  EXPECT_EQ(stateWith("xterm", "terminal"),
            "IPC error: Computer Use cannot interact with terminal applications for security reasons.");
  EXPECT_EQ(saidOf([&] { return textOf(look("debian-xterm", true)); }),
            "IPC error: Computer Use cannot interact with terminal applications for security reasons.");
}

TEST_F(State, OfAPasswordManagerIsRefusedBeforeItStarts) {
  EXPECT_EQ(saidOf([&] { return textOf(look("org.gnome.seahorse.Application", true)); }),
            "IPC error: Computer Use cannot interact with password managers for security reasons.");
  EXPECT_EQ(log.count("state_capture_finished"), 1u);
}

TEST_F(State, LeadsToTheRightElementAfterTheTextAroundItChanged) {
  open({"galculator"});
  const std::string state = stateWith("galculator", "toggle button 7");
  const auto seven = indexOf(state, "toggle button 7");
  ASSERT_GE(seven, 0);
  EXPECT_EQ(textOf(click("galculator", seven)), "Action completed successfully.\n");
  EXPECT_EQ(textOf(click("galculator", seven)), "Action completed successfully.\n");
  EXPECT_THAT(stateWith("galculator", "77"), HasSubstr("77"));
}

TEST_F(State, RefusesAnElementThatChangedIntoOneOfTwoEqualOnes) {
  open({"gtk3-demo", "--run=listbox"});
  const std::string state = stateWith("gtk3-demo", "button Expand");
  const auto expand = indexOf(state, "button Expand");
  ASSERT_GE(expand, 0);
  ASSERT_EQ(textOf(click("gtk3-demo", expand)), "Action completed successfully.\n");
  const std::string answer = saidOf([&] { return textOf(click("gtk3-demo", expand)); });
  EXPECT_THAT(answer, StartsWith("Multiple existing equivalent elements; cannot guarantee uniqueness. Re-query the "
                                 "latest state with get_app_state before sending more actions."));
}

TEST_F(State, IsNotActedOnWhileTheUserWorksInTheApplication) {
  open({"galculator"});
  const std::string state = stateWith("galculator", "toggle button 7");
  const auto seven = indexOf(state, "toggle button 7");
  xdotool("search --sync --onlyvisible --class galculator windowactivate --sync");
  xdotool("search --onlyvisible --class galculator mousemove --window %1 150 20 click 1");
  const auto refused = [&] {
    return saidOf([&] { return textOf(click("galculator", seven)); }) ==
           "The user is still interacting with 'Galculator'. Wait 5 seconds and retry.";
  };
  bool wasRefused = false;
  for (int i = 0; i < 10 && !wasRefused; ++i) wasRefused = refused();
  EXPECT_TRUE(wasRefused);
  std::this_thread::sleep_for(std::chrono::milliseconds(5300));
  EXPECT_EQ(saidOf([&] { return textOf(click("galculator", seven)); }), "Action completed successfully.\n");
}

TEST_F(State, OfOthersIsNotSlowedByAnApplicationThatHangs) {
  open({"galculator"});
  ASSERT_THAT(stateWith("galculator", "toggle button 7"), HasSubstr("toggle button 7"));
  open({"kcalc"});
  ASSERT_THAT(stateWith("kcalc", "button 7"), HasSubstr("button 7"));
  const std::int64_t before = millisecondsToLookAt("kcalc");
  applications.front()->freeze();
  EXPECT_LT(millisecondsToLookAt("galculator"), 30'000) << "a request ends after thirty seconds";
  EXPECT_LT(millisecondsToLookAt("kcalc"), before + 1000);
  applications.front()->thaw();
  EXPECT_THAT(stateWith("galculator", "toggle button 7"), HasSubstr("toggle button 7"));
}

}  // namespace
}  // namespace tavik
