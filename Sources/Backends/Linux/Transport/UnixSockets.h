#pragma once

#include "PlatformInterfaces/LocalSocketPort.h"

namespace tavik {

/// The sockets of the kernel.
class UnixSockets : public LocalSocketPort {
 public:
  Connection connect(const std::string& path) override;
};

}  // namespace tavik
