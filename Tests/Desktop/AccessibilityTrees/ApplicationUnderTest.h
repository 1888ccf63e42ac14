#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tavik {

/// A program started for a test; ended with this object.
class ApplicationUnderTest {
 public:
  explicit ApplicationUnderTest(const std::vector<std::string>& command);
  ~ApplicationUnderTest();
  ApplicationUnderTest(const ApplicationUnderTest&) = delete;
  ApplicationUnderTest& operator=(const ApplicationUnderTest&) = delete;

  pid_t pid() const { return pid_; }
  /// Ends the program at once and waits for its end.
  void kill();
  /// Stops the program in the middle of whatever it does, and lets it go on.
  void freeze();
  void thaw();

 private:
  pid_t pid_ = 0;
};

}  // namespace tavik
