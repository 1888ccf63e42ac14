#include "ActionDesk.h"

#include <cmath>
#include <cstring>

#include "Backends/Linux/Windows/X11Activation.h"
#include "UsersWatch.h"

namespace tavik {

namespace {

constexpr auto patience = std::chrono::seconds(4);

std::string meansOf(const std::string& toolkit, const std::string& action) {
  const bool isWheel = action == "scroll";
  if (toolkit == "Chromium" || (toolkit == "Qt" && !isWheel)) return "sent events";
  return "second pointer";
}

}  // namespace

bool ActionDesk::eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
  }
  return true;
}

void ActionDesk::openBehind(const std::vector<std::string>& command, const std::string& application,
                            const std::string& wanted, const std::string& ofToolkit) {
  app = application;
  toolkit = ofToolkit;
  open(command);
  ASSERT_NE(stateWith(app, wanted, std::chrono::seconds(60)).find(wanted), std::string::npos) << app;
  usersWindow = std::make_unique<test::PaintedWindow>(
      test::PaintedWindow::Options{.x = 0, .y = 0, .width = 1900, .height = 1150, .title = "The user's"});
  usersWindow->activate();
  ASSERT_TRUE(eventually([&] { return desktop.activeWindow() == usersWindow->id(); }));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
}

std::int64_t ActionDesk::find(const std::string& text) {
  state = saidOf([&] {
    return textOf(tools.withSerializedSessionState([&] { return tools.getAppState(app, {.allowAppLaunch = false}); }));
  });
  const auto index = indexOf(state, text);
  EXPECT_GE(index, 0) << "no '" << text << "' in\n" << state;
  return index;
}

AXElement ActionDesk::element(std::int64_t index) {
  const auto item = tools.session().currentTree()->item(index);
  return item ? item->axElement : AXElement();
}

void ActionDesk::act(const std::string& name, const ComputerUseIPCAction& action,
                     const std::function<bool()>& hasEffect) {
  const UsersWorld before = usersWorld();
  const int postedBefore = witness.postedCount();
  const UsersWatch watch([this, before] { return usersWorld() == before; });
  const std::string said =
      saidOf([&] { return textOf(tools.withSerializedAction([&] { return tools.performAction(app, action); })); });
  EXPECT_EQ(said, "Action completed successfully.\n") << toolkit << ": " << name;
  EXPECT_TRUE(eventually(hasEffect)) << toolkit << ": no effect of " << name << " in\n" << state;
  const bool wasPosted = witness.postedCount() > postedBefore;
  EXPECT_EQ(watch.disturbances(), 0) << toolkit << ": the user was disturbed by " << name;
  ActionMatrix::shared().note(name, toolkit, wasPosted ? meansOf(toolkit, name) : "accessibility");
}

std::string ActionDesk::readMenu(const std::string& title) {
  const auto windowsOnScreen = [&] { return ports.windowServer.copyWindowInfo(17, 0).value_or(std::vector<WindowRecord>()).size(); };
  ClickParams click;
  click.elementIndex = find(title);
  const auto before = windowsOnScreen();
  state = saidOf([&] {
    tools.withSerializedAction([&] { return tools.performAction(app, click); });
    return textOf(tools.withSerializedSessionState([&] { return tools.capturePostActionState(app, click); }));
  });
  EXPECT_EQ(windowsOnScreen(), before) << "the menu is open";
  return state;
}

std::string ActionDesk::refusal(const ComputerUseIPCAction& action) {
  return saidOf([&] { return textOf(tools.withSerializedAction([&] { return tools.performAction(app, action); })); });
}

Point ActionDesk::pixel(Point point) {
  const auto session = tools.session().currentSession();
  if (!session || !session->targetWindowBounds || !session->screenshotPixelSize) return {};
  const Rect& bounds = *session->targetWindowBounds;
  const Size& size = *session->screenshotPixelSize;
  return {(point.x - bounds.minX()) * size.width / bounds.size.width,
          (point.y - bounds.minY()) * size.height / bounds.size.height};
}

Rect ActionDesk::frame(std::int64_t index) { return reader.frame(element(index)).value_or(Rect()); }

std::string ActionDesk::value(const AXElement& element) { return reader.string(element, "AXValue").value_or(""); }

double ActionDesk::number(const AXElement& element, const std::string& attribute) {
  return reader.numeric(element, attribute).value_or(-1);
}

Image ActionDesk::picture() {
  const auto session = tools.session().currentSession();
  return ports.windowServer.createWindowImage(session->targetWindowID.value_or(0)).value_or(Image());
}

double ActionDesk::changed(const Image& since) {
  const Image now = picture();
  if (now.width != since.width || now.height != since.height) return 1;
  long different = 0;
  for (int y = 0; y < now.height; ++y) {
    const auto at = static_cast<std::size_t>(y) * static_cast<std::size_t>(now.bytesPerRow);
    for (int x = 0; x < now.width; ++x) {
      const auto offset = at + static_cast<std::size_t>(x) * 4;
      if (std::memcmp(&now.pixels[offset], &since.pixels[offset], 3) != 0) ++different;
    }
  }
  return static_cast<double>(different) / (static_cast<double>(now.width) * now.height);
}

ActionDesk::UsersWorld ActionDesk::usersWorld() {
  const auto focus = desktop.with([](X11Session& session) {
    const auto reply = session.reply(xcb_get_input_focus_reply, xcb_get_input_focus(session.connection()));
    return reply ? reply->focus : xcb_window_t(XCB_NONE);
  });
  return {desktop.activeWindow(), focus.value_or(xcb_window_t(XCB_NONE)), ports.windowServer.mouseLocation()};
}

}  // namespace tavik
