#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tavik::test {

/// A runtime in a folder of its own, whose properties let any program of the user in.
/// The folder goes with the process that asked for it.
const std::filesystem::path& trustingRuntime();

/// A runtime that this test started. It is killed with the object unless it ended.
class RuntimeProcess {
 public:
  /// The changes are arguments of "env": "NAME=value", or "-u" and "NAME".
  explicit RuntimeProcess(const std::filesystem::path& program = trustingRuntime(),
                          const std::vector<std::string>& environmentChanges = {});
  ~RuntimeProcess();
  RuntimeProcess(const RuntimeProcess&) = delete;
  RuntimeProcess& operator=(const RuntimeProcess&) = delete;

  pid_t pid() const { return pid_; }
  void signal(int number) const;
  /// Waits for its end. Absent when a signal ended it.
  std::optional<int> exitCode();

 private:
  pid_t pid_ = 0;
};

}  // namespace tavik::test
