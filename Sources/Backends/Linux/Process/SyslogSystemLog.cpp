#include "Backends/Linux/Process/SyslogSystemLog.h"

#include <syslog.h>
#include <unistd.h>

namespace tavik {

namespace {

constexpr const char* logSocket = "/dev/log";

int priorityOf(SystemLogPort::Level level) {
  switch (level) {
    case SystemLogPort::Level::debug:
      return LOG_DEBUG;
    case SystemLogPort::Level::info:
      return LOG_INFO;
    case SystemLogPort::Level::standard:
      return LOG_NOTICE;
    case SystemLogPort::Level::error:
      return LOG_ERR;
    case SystemLogPort::Level::fault:
      return LOG_CRIT;
  }
  return LOG_NOTICE;
}

}  // namespace

bool SyslogSystemLog::isEnabled(const std::string&, const std::string&, Level) {
  return access(logSocket, W_OK) == 0;
}

void SyslogSystemLog::log(const std::string& subsystem, const std::string& category, Level level,
                          const std::string& line) {
  if (!isEnabled(subsystem, category, level)) return;
  syslog(LOG_USER | priorityOf(level), "[%s:%s] %s", subsystem.c_str(), category.c_str(), line.c_str());
}

}  // namespace tavik
