#pragma once

#include "PlatformInterfaces/SystemLogPort.h"

namespace tavik {

/// The system log by way of syslog, which the journal listens to as well. Without a
/// log service nothing is enabled and nothing happens.
class SyslogSystemLog : public SystemLogPort {
 public:
  bool isEnabled(const std::string& subsystem, const std::string& category, Level level) override;
  void log(const std::string& subsystem, const std::string& category, Level level,
           const std::string& line) override;
};

}  // namespace tavik
