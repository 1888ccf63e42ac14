#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "Backends/Linux/Input/X11EventPosting.h"
#include "ChildProcess.h"
#include "PaintedWindow.h"

namespace tavik::test {
namespace {

/// Two windows of one process, one over the other.
class PostedInput : public testing::TestWithParam<Toolkit> {
 protected:
  static constexpr Point inBoth{250, 250};

  void click(xcb_window_t window) {
    InputEvent press{.type = InputEventType::leftMouseDown, .location = inBoth};
    press.windowNumber = window;
    InputEvent release = press;
    release.type = InputEventType::leftMouseUp;
    const auto sequence = posting.beginSequence(getpid());
    EXPECT_TRUE(posting.postToPid(getpid(), press));
    EXPECT_TRUE(posting.postToPid(getpid(), release));
  }

  X11Desktop desktop;
  X11EventPosting posting{desktop, [](std::int32_t) { return GetParam(); }, [](std::int32_t) {}};
  PaintedWindow back{{.x = 200, .y = 200, .title = "back"}};
  PaintedWindow front{{.x = 220, .y = 220, .color = 0x0000FF, .title = "front"}};
};

TEST_P(PostedInput, GoesToTheWindowThatItNamesAlsoBehindAnotherOfTheProcess) {
  front.raise();
  click(back.id());
  EXPECT_TRUE(eventually([&] { return back.presses() == 1; }));
  click(front.id());
  EXPECT_TRUE(eventually([&] { return front.presses() == 1; }));
  EXPECT_EQ(back.presses(), 1);
}

TEST_P(PostedInput, WithoutAWindowGoesToTheOneInFront) {
  front.raise();
  click(XCB_NONE);
  EXPECT_TRUE(eventually([&] { return front.presses() == 1; }));
  EXPECT_EQ(back.presses(), 0);
}

TEST_P(PostedInput, GoesToAMenuBeforeTheWindowThatItNames) {
  PaintedWindow menu({.x = 240, .y = 240, .width = 60, .height = 60, .isPopup = true});
  menu.raise();
  click(back.id());
  EXPECT_TRUE(eventually([&] { return menu.presses() == 1; }));
  EXPECT_EQ(back.presses(), 0);
}

INSTANTIATE_TEST_SUITE_P(ByEveryMeans, PostedInput, testing::Values(Toolkit::gtk3, Toolkit::qt),
                         [](const auto& test) { return test.param == Toolkit::gtk3 ? "secondPointer" : "sentEvents"; });

}  // namespace
}  // namespace tavik::test
