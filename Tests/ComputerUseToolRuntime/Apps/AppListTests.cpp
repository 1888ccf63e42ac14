#include "ComputerUseToolRuntime/Apps/AppList.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

TEST(AppList, aLineHasNameIdentifierAndTagsInTheirOrder) {
  AppSearchResult notes{.displayName = "Notes",
                        .bundleIdentifier = "com.example.notes",
                        .path = std::nullopt,
                        .lastUsedDate = std::chrono::sys_days(std::chrono::year(2026) / 3 / 5) + std::chrono::hours(12),
                        .useCount = 7,
                        .isRunning = true,
                        .isFrontmost = true};
  EXPECT_EQ(formatListApps({notes}),
            "Notes — com.example.notes [frontmost, running, last-used=2026-03-05, uses=7]");
}

TEST(AppList, anApplicationWithoutTagsHasNoBrackets) {
  AppSearchResult notes{.displayName = "Notes",
                        .bundleIdentifier = "com.example.notes",
                        .path = std::nullopt,
                        .lastUsedDate = std::nullopt,
                        .useCount = 0,
                        .isRunning = false,
                        .isFrontmost = false};
  EXPECT_EQ(formatListApps({notes, notes}), "Notes — com.example.notes\nNotes — com.example.notes");
}

TEST(AppList, noApplicationsGiveNoText) { EXPECT_EQ(formatListApps({}), ""); }

}  // namespace
}  // namespace tavik
