#include "ComputerUseToolRuntime/Apps/AppList.h"

#include <gtest/gtest.h>
#include <time.h>

#include <cstdlib>
#include <optional>
#include <string>

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

TEST(AppList, theLastUseIsADayOfTheUsersOwnTime) {
  const char* zone = std::getenv("TZ");
  const std::optional<std::string> before = zone ? std::optional<std::string>(zone) : std::nullopt;
  const WallTime lateEvening =
      std::chrono::sys_days(std::chrono::year(2026) / 3 / 5) + std::chrono::hours(22);
  AppSearchResult notes{.displayName = "Notes",
                        .bundleIdentifier = "n",
                        .path = std::nullopt,
                        .lastUsedDate = lateEvening,
                        .useCount = std::nullopt};
  setenv("TZ", "XXX-9", 1);
  tzset();
  EXPECT_EQ(formatListApps({notes}), "Notes — n [last-used=2026-03-06]");
  setenv("TZ", "XXX+9", 1);
  tzset();
  EXPECT_EQ(formatListApps({notes}), "Notes — n [last-used=2026-03-05]");
  before ? setenv("TZ", before->c_str(), 1) : unsetenv("TZ");
  tzset();
}

TEST(AppList, noApplicationsGiveNoText) { EXPECT_EQ(formatListApps({}), ""); }

}  // namespace
}  // namespace tavik
