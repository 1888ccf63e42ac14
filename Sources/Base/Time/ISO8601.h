#pragma once

#include <string>

#include "Base/Concurrency/Time.h"

namespace tavik {

/// "2026-03-05T10:15:30.250+01:00": local time with milliseconds, in the process's
/// time zone. Zero offset is written "Z".
std::string iso8601LocalMilliseconds(WallTime time);
/// "2026-03-05T09:15:30Z".
std::string iso8601UTC(WallTime time);
/// "2026-03-05" in the process's time zone.
std::string isoDateLocal(WallTime time);

}  // namespace tavik
