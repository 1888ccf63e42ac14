#pragma once

#include <memory>
#include <string>

#include "Backends/Linux/Platform/LinuxPlatform.h"

namespace tavik {

/// The platform that this program runs on.
inline std::unique_ptr<LinuxPlatform> makePlatform(MainQueue& mainQueue, std::string teamIdentifier) {
  return std::make_unique<LinuxPlatform>(mainQueue, std::move(teamIdentifier));
}

}  // namespace tavik
