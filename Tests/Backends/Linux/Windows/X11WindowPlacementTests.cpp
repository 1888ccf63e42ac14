#include "Backends/Linux/Windows/X11WindowPlacement.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

X11Window window(xcb_window_t id, std::int32_t pid, std::string title, Size size) {
  X11Window result;
  result.id = id;
  result.pid = pid;
  result.title = std::move(title);
  result.bounds.size = size;
  return result;
}

const std::vector<X11Window> windows{window(1, 10, "Document", {800, 600}),
                                     window(2, 10, "Document", {300, 200}), window(3, 10, "", {120, 90}),
                                     window(4, 20, "Document", {301, 200})};

xcb_window_t found(std::int32_t pid, const std::string& title, Size size) {
  const X11Window* result = windowOfProcess(windows, pid, title, size);
  return result != nullptr ? result->id : 0;
}

TEST(X11WindowPlacement, FindsTheTitleAndThenTheNearestSize) {
  EXPECT_EQ(found(10, "Document", {790, 600}), 1u);
  EXPECT_EQ(found(10, "Document", {301, 200}), 2u);
  EXPECT_EQ(found(10, "Document", {120, 90}), 2u);
}

TEST(X11WindowPlacement, FindsTheNearestSizeWhereNoTitleFits) {
  EXPECT_EQ(found(10, "Other", {118, 90}), 3u);
  EXPECT_EQ(found(10, "", {800, 590}), 1u);
}

TEST(X11WindowPlacement, FindsNothingOfAnotherProcess) {
  EXPECT_EQ(found(20, "Document", {800, 600}), 4u);
  EXPECT_EQ(found(30, "Document", {800, 600}), 0u);
}

}  // namespace
}  // namespace tavik
