#pragma once

#include <string>

namespace tavik {

/// The system's own log. Any thread; does not throw.
class SystemLogPort {
 public:
  enum class Level { debug, info, standard, error, fault };

  virtual ~SystemLogPort() = default;
  virtual bool isEnabled(const std::string& subsystem, const std::string& category, Level level) = 0;
  /// Logs one line as public text.
  virtual void log(const std::string& subsystem, const std::string& category, Level level,
                   const std::string& line) = 0;
};

}  // namespace tavik
