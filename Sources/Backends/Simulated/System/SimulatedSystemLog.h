#pragma once

#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/SystemLogPort.h"

namespace tavik {

/// Keeps what was logged. Any thread.
class SimulatedSystemLog : public SystemLogPort {
 public:
  struct Entry {
    std::string category;
    Level level;
    std::string line;
  };

  std::vector<Entry> entries() const {
    MutexLock lock(mutex_);
    return entries_;
  }

  bool isEnabled(const std::string&, const std::string&, Level) override { return true; }
  void log(const std::string&, const std::string& category, Level level, const std::string& line) override {
    MutexLock lock(mutex_);
    entries_.push_back({category, level, line});
  }

 private:
  mutable Mutex mutex_;
  std::vector<Entry> entries_;
};

}  // namespace tavik
