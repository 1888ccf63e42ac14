#include "Base/Time/ISO8601.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace tavik {
namespace {

using namespace std::chrono_literals;

/// Puts the process into a time zone for the life of the object.
class TimeZoneScope {
 public:
  explicit TimeZoneScope(const char* zone) {
    if (const char* value = std::getenv("TZ")) previous_ = value;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~TimeZoneScope() {
    if (previous_.empty()) {
      unsetenv("TZ");
    } else {
      setenv("TZ", previous_.c_str(), 1);
    }
    tzset();
  }

 private:
  std::string previous_;
};

WallTime someMorning() {
  return WallTime(std::chrono::sys_days(std::chrono::year(2026) / 3 / 5)) + 9h + 15min + 30s + 250ms;
}

TEST(ISO8601, writesLocalTimeWithMillisecondsAndOffset) {
  TimeZoneScope zone("CET-1");
  EXPECT_EQ(iso8601LocalMilliseconds(someMorning()), "2026-03-05T10:15:30.250+01:00");
}

TEST(ISO8601, writesOffsetsWestOfGreenwichAndOfHalfHours) {
  {
    TimeZoneScope zone("NST3:30");
    EXPECT_EQ(iso8601LocalMilliseconds(someMorning()), "2026-03-05T05:45:30.250-03:30");
  }
  TimeZoneScope zone("IST-5:30");
  EXPECT_EQ(iso8601LocalMilliseconds(someMorning()), "2026-03-05T14:45:30.250+05:30");
}

TEST(ISO8601, writesZForNoOffset) {
  TimeZoneScope zone("UTC0");
  EXPECT_EQ(iso8601LocalMilliseconds(someMorning()), "2026-03-05T09:15:30.250Z");
}

TEST(ISO8601, neverRoundsUpIntoTheNextSecond) {
  TimeZoneScope zone("UTC0");
  EXPECT_EQ(iso8601LocalMilliseconds(someMorning() + 749ms + 999us), "2026-03-05T09:15:30.999Z");
  EXPECT_EQ(iso8601LocalMilliseconds(WallTime(-1ms)), "1969-12-31T23:59:59.999Z");
}

TEST(ISO8601, writesUniversalTimeWhateverTheZone) {
  TimeZoneScope zone("CET-1");
  EXPECT_EQ(iso8601UTC(someMorning()), "2026-03-05T09:15:30Z");
}

TEST(ISO8601, datesFollowTheLocalDay) {
  TimeZoneScope zone("CET-1");
  EXPECT_EQ(isoDateLocal(someMorning() + 14h), "2026-03-06");
}

}  // namespace
}  // namespace tavik
