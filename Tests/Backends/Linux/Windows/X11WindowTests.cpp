#include "Backends/Linux/Windows/X11Window.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

TEST(X11WindowBounds, LeaveOutTheShadow) {
  EXPECT_EQ(boundsWithoutShadow({100, 50}, {800, 600}, {.left = 26, .right = 26, .top = 23, .bottom = 29}),
            (Rect{{126, 73}, {748, 548}}));
}

TEST(X11WindowBounds, AreTheWholeWindowWithoutAShadow) {
  EXPECT_EQ(boundsWithoutShadow({100, 50}, {800, 600}, {}), (Rect{{100, 50}, {800, 600}}));
}

TEST(X11WindowBounds, AreTheWholeWindowWhenTheShadowMakesNoSense) {
  EXPECT_EQ(boundsWithoutShadow({0, 0}, {100, 100}, {.left = 60, .right = 60, .top = 0, .bottom = 0}),
            (Rect{{0, 0}, {100, 100}}));
  EXPECT_EQ(boundsWithoutShadow({0, 0}, {100, 100}, {.left = -5, .right = 0, .top = 0, .bottom = 0}),
            (Rect{{0, 0}, {100, 100}}));
}

int layer(X11WindowType type, bool isPopup = false) {
  X11Window window;
  window.type = type;
  window.isPopup = isPopup;
  return layerOf(window);
}

TEST(X11WindowLayer, IsZeroForWhatAPersonCallsAWindow) {
  EXPECT_EQ(layer(X11WindowType::normal), 0);
  EXPECT_EQ(layer(X11WindowType::dialog), 0);
  EXPECT_EQ(layer(X11WindowType::utility), 0);
}

TEST(X11WindowLayer, IsAboveForDocksAndPopupsAndBelowForTheDesktop) {
  EXPECT_GT(layer(X11WindowType::dock), 0);
  EXPECT_GT(layer(X11WindowType::normal, true), layer(X11WindowType::dock));
  EXPECT_GT(layer(X11WindowType::menu), layer(X11WindowType::dock));
  EXPECT_LT(layer(X11WindowType::desktop), 0);
}

TEST(X11WindowState, MinimisedIsNotOnScreenEvenWhileMapped) {
  X11Window window;
  window.isViewable = true;
  EXPECT_TRUE(window.isOnScreen());
  window.isHidden = true;
  EXPECT_FALSE(window.isOnScreen());
}

}  // namespace
}  // namespace tavik
