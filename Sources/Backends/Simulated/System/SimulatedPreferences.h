#pragma once

#include <map>

#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/PreferencesPort.h"

namespace tavik {

/// Preferences and application properties in memory. Any thread.
class SimulatedPreferences : public PreferencesPort {
 public:
  void setObject(const std::string& key, PropertyValue value) {
    MutexLock lock(mutex_);
    objects_.insert_or_assign(key, std::move(value));
  }
  void setApplicationProperty(const std::string& key, PropertyValue value) {
    MutexLock lock(mutex_);
    properties_.insert_or_assign(key, std::move(value));
  }

  std::optional<PropertyValue> object(const std::string& key) override { return find(objects_, key); }
  std::optional<PropertyValue> applicationProperty(const std::string& key) override {
    return find(properties_, key);
  }

 private:
  using Table = std::map<std::string, PropertyValue>;

  std::optional<PropertyValue> find(const Table& table, const std::string& key) {
    requireNoLockHeld("reading a preference");
    MutexLock lock(mutex_);
    auto entry = table.find(key);
    return entry == table.end() ? std::nullopt : std::optional(entry->second);
  }

  Mutex mutex_;
  Table objects_;
  Table properties_;
};

}  // namespace tavik
