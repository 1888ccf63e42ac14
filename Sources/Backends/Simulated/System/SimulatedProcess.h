#pragma once

#include <cerrno>
#include <map>

#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/ProcessPort.h"

namespace tavik {

/// Processes as a test states them. Any thread.
class SimulatedProcess : public ProcessPort {
 public:
  static constexpr std::int32_t ownPID = 9000;
  static constexpr std::int32_t ownParentPID = 8999;

  struct Record {
    /// What probing it gives: 0, EPERM, ESRCH.
    int probe = 0;
    std::optional<std::string> executablePath{};
    std::optional<std::int32_t> responsiblePID{};
    std::int32_t automationStatus = 0;
  };

  void state(std::int32_t pid, Record record) {
    MutexLock lock(mutex_);
    records_.insert_or_assign(pid, std::move(record));
  }
  /// The process exists no more.
  void end(std::int32_t pid) { state(pid, Record{ESRCH, std::nullopt, std::nullopt, -600}); }
  void setEnvironment(const std::string& name, std::optional<std::string> value) {
    MutexLock lock(mutex_);
    environment_.insert_or_assign(name, std::move(value));
  }

  std::int32_t currentPID() override { return ownPID; }
  std::int32_t parentPID() override { return ownParentPID; }
  int probe(std::int32_t pid) override {
    auto record = find(pid);
    return record ? record->probe : ESRCH;
  }
  std::optional<std::string> executablePath(std::int32_t pid) override {
    auto record = find(pid);
    return record ? record->executablePath : std::nullopt;
  }
  std::optional<std::int32_t> responsiblePID(std::int32_t pid) override {
    auto record = find(pid);
    return record ? record->responsiblePID : std::nullopt;
  }
  std::int32_t determinePermissionToAutomate(std::int32_t pid, bool) override {
    auto record = find(pid);
    return record ? record->automationStatus : -600;
  }
  std::optional<std::string> environment(const std::string& name) override {
    requireNoLockHeld("reading the environment");
    MutexLock lock(mutex_);
    auto entry = environment_.find(name);
    return entry == environment_.end() ? std::nullopt : entry->second;
  }
  std::string homeDirectory() override { return "/home/user"; }
  std::optional<std::string> bundleIdentifier() override { return "com.tavik.computeruse"; }
  std::string bundlePath() override { return "/opt/tavik"; }
  std::string operatingSystemVersion() override { return "Simulated 1.0"; }

 private:
  std::optional<Record> find(std::int32_t pid) {
    requireNoLockHeld("a question about a process");
    MutexLock lock(mutex_);
    auto record = records_.find(pid);
    return record == records_.end() ? std::nullopt : std::optional(record->second);
  }

  Mutex mutex_;
  std::map<std::int32_t, Record> records_;
  std::map<std::string, std::optional<std::string>> environment_;
};

}  // namespace tavik
