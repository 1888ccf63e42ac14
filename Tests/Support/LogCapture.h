#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

/// One record as it was logged; field values as plain text, not yet redacted.
struct CapturedRecord {
  LogLevel level;
  LogCategory category;
  std::string event;
  std::map<std::string, std::string> fields;
  std::string requestID;
};

/// Keeps every record that is logged while it lives, whatever its level, and keeps
/// them off standard error.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<CapturedRecord> records() const;
  std::vector<CapturedRecord> records(const std::string& event) const;
  std::vector<std::string> events() const;
  std::size_t count(const std::string& event) const { return records(event).size(); }
  /// The one record of the event; throws when there is none or more.
  CapturedRecord only(const std::string& event) const;
  void clear();

 private:
  struct Storage {
    mutable std::mutex mutex;
    std::vector<CapturedRecord> records;
  };
  std::shared_ptr<Storage> storage_;
  LogEnvironment previous_;
};

}  // namespace tavik
