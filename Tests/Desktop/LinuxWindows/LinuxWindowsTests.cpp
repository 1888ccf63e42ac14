#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>

#include "Backends/Linux/Windows/PixmanImageCoding.h"
#include "Backends/Linux/Windows/X11WindowServer.h"
#include "ChildProcess.h"
#include "PaintedWindow.h"

namespace tavik::test {
namespace {

constexpr std::uint32_t red = 0xFF0000;
constexpr std::uint32_t blue = 0x0000FF;
constexpr std::uint32_t white = 0xFFFFFF;
constexpr std::uint32_t everything = 0;

class LinuxWindows : public testing::Test {
 protected:
  std::vector<WindowRecord> list(std::uint32_t options) { return server.copyWindowInfo(options, 0).value(); }

  std::optional<WindowRecord> record(xcb_window_t id, std::uint32_t options = everything) {
    auto records = server.copyWindowInfo(options, id).value();
    return records.empty() ? std::nullopt : std::optional(records.front());
  }

  std::size_t place(xcb_window_t id) {
    auto records = list(WindowListOption::onScreenOnly);
    for (std::size_t i = 0; i < records.size(); ++i) {
      if (records[i].windowID == id) return i;
    }
    return records.size();
  }

  X11Desktop desktop;
  X11WindowServer server{desktop};
};

std::uint32_t pixel(const Image& image, int x, int y) {
  const std::uint8_t* at = image.pixels.data() + y * image.bytesPerRow + x * 4;
  return static_cast<std::uint32_t>(at[2] << 16 | at[1] << 8 | at[0]);
}

/// How many pixels have another colour or are not opaque.
int otherPixels(const Image& image, std::uint32_t color) {
  int count = 0;
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      bool isOpaque = image.pixels[static_cast<std::size_t>(y * image.bytesPerRow + x * 4 + 3)] == 0xFF;
      if (pixel(image, x, y) != color || !isOpaque) ++count;
    }
  }
  return count;
}

TEST_F(LinuxWindows, AreListedWithTheirProcessTitleBoundsAndState) {
  PaintedWindow window({.x = 200, .y = 150, .width = 320, .height = 240, .title = "Grüße 你好"});
  auto found = record(window.id());
  ASSERT_TRUE(found);
  EXPECT_EQ(found->ownerPID, getpid());
  EXPECT_EQ(found->name, "Grüße 你好");
  EXPECT_EQ(found->bounds->size, (Size{320, 240}));
  EXPECT_TRUE(found->isOnScreen);
  EXPECT_EQ(found->layer, 0);
}

TEST_F(LinuxWindows, BelongToTheProcessThatTheServerKnowsWhenTheyDoNotSay) {
  PaintedWindow window({.setsPID = false});
  EXPECT_EQ(record(window.id())->ownerPID, getpid());
}

TEST_F(LinuxWindows, AreListedFromFrontToBack) {
  PaintedWindow first({.title = "first"});
  PaintedWindow second({.title = "second"});
  second.activate();
  EXPECT_TRUE(eventually([&] { return place(second.id()) < place(first.id()); }));
  first.activate();
  EXPECT_TRUE(eventually([&] { return place(first.id()) < place(second.id()); }));
}

TEST_F(LinuxWindows, StandInTheLayerOfTheirKind) {
  PaintedWindow dialog({.type = "DIALOG"});
  PaintedWindow dock({.x = 0, .y = 0, .width = 200, .height = 30, .type = "DOCK"});
  PaintedWindow menu({.type = "DROPDOWN_MENU", .isPopup = true});
  PaintedWindow wallpaper({.x = 0, .y = 0, .width = 1920, .height = 1200, .type = "DESKTOP"});
  EXPECT_EQ(record(dialog.id())->layer, 0);
  EXPECT_GT(record(dock.id())->layer, 0);
  EXPECT_GT(record(menu.id())->layer, record(dock.id())->layer);
  EXPECT_LT(record(wallpaper.id())->layer, 0);
  EXPECT_FALSE(record(wallpaper.id(), WindowListOption::excludeDesktopElements));
}

TEST_F(LinuxWindows, MinimisedAreListedOffScreenAndHaveNoPicture) {
  PaintedWindow window({});
  ASSERT_TRUE(server.createWindowImage(window.id()));
  window.minimise();
  ASSERT_TRUE(eventually([&] { return !record(window.id())->isOnScreen; }));
  EXPECT_FALSE(record(window.id(), WindowListOption::onScreenOnly));
  EXPECT_FALSE(server.createWindowImage(window.id()));
}

TEST_F(LinuxWindows, HaveNoPictureAndNoEntryWhenTheyDoNotExist) {
  EXPECT_FALSE(server.createWindowImage(0x12345678));
  EXPECT_FALSE(record(0x12345678));
}

TEST_F(LinuxWindows, PictureHasTheSizeOfTheBoundsAndTheWindowsOwnPixels) {
  PaintedWindow window({.x = 400, .y = 300, .width = 301, .height = 203, .color = red});
  auto image = server.createWindowImage(window.id());
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width, 301);
  EXPECT_EQ(image->height, 203);
  EXPECT_EQ(otherPixels(*image, red), 0);
}

TEST_F(LinuxWindows, CoveredByOthersShowThemselvesInTheFirstPicture) {
  for (int round = 0; round < 5; ++round) {
    PaintedWindow covered({.x = 300, .y = 300, .width = 300, .height = 200, .color = red});
    PaintedWindow cover({.x = 350, .y = 320, .width = 400, .height = 300, .color = blue, .isPopup = true});
    cover.raise();
    auto image = server.createWindowImage(covered.id());
    ASSERT_TRUE(image);
    EXPECT_EQ(otherPixels(*image, red), 0) << "round " << round;
  }
}

TEST_F(LinuxWindows, BeyondTheEdgeOfTheScreenShowThemselvesWhole) {
  PaintedWindow window({.x = -150, .y = 1100, .width = 300, .height = 200, .color = red, .isPopup = true});
  auto image = server.createWindowImage(window.id());
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width, 300);
  EXPECT_EQ(otherPixels(*image, red), 0);
}

TEST_F(LinuxWindows, CoveredByOthersHaveNoPictureWhenTheApplicationDoesNotPaint) {
  PaintedWindow hung({.x = 300, .y = 300, .isHung = true});
  PaintedWindow cover({.x = 250, .y = 250, .width = 500, .height = 500, .color = blue, .isPopup = true});
  cover.raise();
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(server.createWindowImage(hung.id()));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST_F(LinuxWindows, CoveredByOthersShowWhatTheApplicationPaintsOverTheBackgroundOfTheServer) {
  PaintedWindow covered({.x = 300,
                         .y = 300,
                         .color = red,
                         .background = white,
                         .repaintDelay = std::chrono::milliseconds(100)});
  PaintedWindow cover({.x = 250, .y = 250, .width = 500, .height = 500, .color = blue, .isPopup = true});
  cover.raise();
  auto image = server.createWindowImage(covered.id());
  ASSERT_TRUE(image);
  EXPECT_EQ(otherPixels(*image, red), 0);
}

TEST_F(LinuxWindows, CoveredByOthersShowTheBackgroundWhereTheApplicationPaintsNothing) {
  PaintedWindow empty({.x = 300, .y = 300, .background = white, .isHung = true});
  PaintedWindow cover({.x = 250, .y = 250, .width = 500, .height = 500, .color = blue, .isPopup = true});
  cover.raise();
  auto image = server.createWindowImage(empty.id());
  ASSERT_TRUE(image);
  EXPECT_EQ(otherPixels(*image, white), 0);
}

TEST_F(LinuxWindows, SecondPictureOfACoveredWindowNeedsNoPaint) {
  PaintedWindow covered({.x = 300, .y = 300, .color = red});
  PaintedWindow cover({.x = 250, .y = 250, .width = 500, .height = 500, .color = blue, .isPopup = true});
  cover.raise();
  ASSERT_TRUE(server.createWindowImage(covered.id()));
  auto start = std::chrono::steady_clock::now();
  auto image = server.createWindowImage(covered.id());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
  ASSERT_TRUE(image);
  EXPECT_EQ(otherPixels(*image, red), 0);
}

TEST_F(LinuxWindows, LeaveTheirPlaceAndFocusAloneWhenPhotographed) {
  PaintedWindow back({.x = 300, .y = 300});
  PaintedWindow front({.x = 320, .y = 320, .title = "front"});
  front.activate();
  ASSERT_TRUE(eventually([&] { return desktop.activeWindow() == front.id(); }));
  ASSERT_TRUE(server.createWindowImage(back.id()));
  EXPECT_EQ(desktop.activeWindow(), front.id());
  EXPECT_LT(place(front.id()), place(back.id()));
}

TEST_F(LinuxWindows, DrawnShadowIsOutsideOfBoundsAndPicture) {
  ChildProcess application({"gtk3-widget-factory"});
  std::optional<WindowRecord> window;
  ASSERT_TRUE(eventually([&] {
    for (const WindowRecord& candidate : list(WindowListOption::onScreenOnly)) {
      if (candidate.ownerPID == application.pid() && candidate.layer == 0) window = candidate;
    }
    return window.has_value();
  }));
  std::optional<Image> image;
  ASSERT_TRUE(eventually([&] {
    image = server.createWindowImage(*window->windowID);
    // Its content is there once the middle of the title bar is drawn.
    return image &&
           image->pixels[static_cast<std::size_t>(10 * image->bytesPerRow + image->width / 2 * 4 + 3)] ==
               0xFF;
  }));
  window = record(*window->windowID);
  EXPECT_EQ(image->width, window->bounds->size.width);
  EXPECT_EQ(image->height, window->bounds->size.height);
  // A shadow would be half transparent, in the middle of an edge too.
  auto alpha = [&](int x, int y) {
    return image->pixels[static_cast<std::size_t>(y * image->bytesPerRow + x * 4 + 3)];
  };
  EXPECT_EQ(alpha(1, image->height / 2), 0xFF);
  EXPECT_EQ(alpha(image->width - 2, image->height / 2), 0xFF);
  EXPECT_EQ(alpha(image->width / 2, image->height - 2), 0xFF);
}

TEST_F(LinuxWindows, ScreenImageShowsWhatIsInFront) {
  PaintedWindow cover({.x = 500, .y = 500, .width = 100, .height = 100, .color = blue, .isPopup = true});
  cover.raise();
  auto image = server.createScreenImage({{510, 510}, {20, 10}});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width, 20);
  EXPECT_EQ(image->height, 10);
  EXPECT_EQ(otherPixels(*image, blue), 0);
  EXPECT_TRUE(server.createScreenImage({{0, 0}, {1, 1}}));
  EXPECT_FALSE(server.createScreenImage({{5000, 5000}, {10, 10}}));
  EXPECT_EQ(server.createScreenImage(Rect::infinite())->width, 1920);
  EXPECT_FALSE(server.createScreenImage(Rect::null()));
}

TEST_F(LinuxWindows, ScreenAndPointerAreThoseOfTheDesktop) {
  auto screens = server.screens();
  ASSERT_EQ(screens.size(), 1u);
  EXPECT_EQ(screens[0].frame, (Rect{{0, 0}, {1920, 1200}}));
  EXPECT_EQ(screens[0].visibleFrame, (Rect{{0, 0}, {1920, 1200}}));
  Point pointer = server.mouseLocation();
  EXPECT_TRUE(screens[0].frame.contains(pointer));
}

TEST_F(LinuxWindows, ManyPicturesFromManyThreadsAreAllRight) {
  PaintedWindow one({.x = 100, .y = 100, .width = 400, .height = 300, .color = red});
  PaintedWindow other({.x = 150, .y = 150, .width = 200, .height = 500, .color = blue});
  std::vector<std::thread> threads;
  std::atomic<int> wrong = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 20; ++round) {
        bool isOne = (i + round) % 2 == 0;
        auto image = server.createWindowImage(isOne ? one.id() : other.id());
        if (!image || otherPixels(*image, isOne ? red : blue) != 0) ++wrong;
        if (!server.copyWindowInfo(everything, 0)) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

int differentPixels(const Image& a, const Image& b) {
  int count = 0;
  for (int y = 0; y < a.height; ++y) {
    for (int x = 0; x < a.width; ++x) count += pixel(a, x, y) != pixel(b, x, y);
  }
  return count;
}

/// Whose connection ends, and with it what it did to the window.
Image pictureOfAnotherProcess(std::uint32_t window) {
  X11Desktop desktop;
  return X11WindowServer(desktop).createWindowImage(window).value();
}

/// Carets blink and spinners turn; more than that is another picture.
bool isTheSamePicture(const Image& a, const Image& b) {
  return a.width == b.width && a.height == b.height && differentPixels(a, b) < a.width * a.height / 50;
}

/// The picture of a window that has drawn all that it has to draw for now.
Image settledPicture(std::uint32_t window) {
  std::this_thread::sleep_for(std::chrono::seconds(1));
  Image before = pictureOfAnotherProcess(window);
  for (int attempt = 0; attempt < 30; ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    Image now = pictureOfAnotherProcess(window);
    if (isTheSamePicture(before, now)) return now;
    before = std::move(now);
  }
  return before;
}

struct Program {
  const char* name;
  std::vector<std::string> command;
};

class CoveredApplication : public LinuxWindows, public testing::WithParamInterface<Program> {};

TEST_P(CoveredApplication, ShowsItselfInTheFirstPicture) {
  ChildProcess application(GetParam().command);
  std::optional<WindowRecord> window;
  ASSERT_TRUE(eventually([&] {
    for (const WindowRecord& candidate : list(WindowListOption::onScreenOnly)) {
      bool isBig = candidate.bounds->size.width > 100 && candidate.bounds->size.height > 100;
      if (candidate.ownerPID == application.pid() && candidate.layer == 0 && isBig) window = candidate;
    }
    return window.has_value();
  }));
  Image uncovered = settledPicture(*window->windowID);
  PaintedWindow cover({.x = 0, .y = 0, .width = 1920, .height = 1200, .color = blue, .isPopup = true});
  cover.raise();

  auto image = server.createWindowImage(*window->windowID);
  ASSERT_TRUE(image);
  EXPECT_TRUE(isTheSamePicture(*image, uncovered));
}

INSTANTIATE_TEST_SUITE_P(
    OfEveryToolkit, CoveredApplication,
    testing::Values(Program{"GTK3", {"mousepad"}}, Program{"GTK4", {"gtk4-widget-factory"}},
                    Program{"Qt5", {"kcalc"}}, Program{"Qt6", {"/usr/lib/qt6/bin/designer"}},
                    Program{"Chromium",
                            {"chromium", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-sync",
                             "--disable-background-networking", "--no-default-browser-check",
                             "--password-store=basic", "data:text/html,<h1>Covered</h1>"}}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace tavik::test
