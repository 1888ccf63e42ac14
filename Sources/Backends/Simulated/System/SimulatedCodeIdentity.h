#pragma once

#include <map>

#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/CodeIdentityPort.h"

namespace tavik {

/// Code identities as a test states them; a process that was not stated does not
/// exist. State everything before the code under test runs.
class SimulatedCodeIdentity : public CodeIdentityPort {
 public:
  /// The status of a process that does not exist.
  static constexpr std::int32_t noSuchProcess = 100003;

  struct Process {
    std::int32_t guestStatus = 0;
    std::int32_t staticCodeStatus = 0;
    std::int32_t informationStatus = 0;
    SigningInformation information{};
  };

  void state(std::int32_t pid, Process process) { processes_[std::to_string(pid)] = std::move(process); }
  void state(std::int32_t pid, std::string teamIdentifier, std::string identifier) {
    state(pid, Process{0, 0, 0, {std::move(teamIdentifier), std::move(identifier)}});
  }

  StatusResult<CodeReference> copyGuest(std::int32_t pid) override {
    requireNoLockHeld("copyGuest");
    auto process = processes_.find(std::to_string(pid));
    if (process == processes_.end()) return {noSuchProcess, std::nullopt};
    if (process->second.guestStatus != 0) return {process->second.guestStatus, std::nullopt};
    return {0, process->first};
  }

  StatusResult<CodeReference> copyStaticCode(const CodeReference& guest) override {
    requireNoLockHeld("copyStaticCode");
    const Process& process = processes_.at(guest);
    if (process.staticCodeStatus != 0) return {process.staticCodeStatus, std::nullopt};
    return {0, guest};
  }

  StatusResult<SigningInformation> copySigningInformation(const CodeReference& code) override {
    requireNoLockHeld("copySigningInformation");
    const Process& process = processes_.at(code);
    if (process.informationStatus != 0) return {process.informationStatus, std::nullopt};
    return {0, process.information};
  }

 private:
  std::map<CodeReference, Process> processes_;
};

}  // namespace tavik
