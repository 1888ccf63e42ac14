#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace tavik::test {

/// A program that the test started; it ends with the object.
class ChildProcess {
 public:
  explicit ChildProcess(const std::vector<std::string>& command);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t pid() const { return pid_; }
  /// Ends it and waits for its end.
  void end(int signal);

 private:
  pid_t pid_ = 0;
};

/// Asks until the answer is true, for at most ten seconds.
bool eventually(const std::function<bool()>& question);

}  // namespace tavik::test
