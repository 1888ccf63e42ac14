#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "TavikComputerUseBridge/Runtime/RuntimeClient.h"

namespace tavik {

/// One thing that the system needs of a desktop.
struct DesktopFinding {
  std::string subject;
  bool works = false;
  /// What was found, in a few words.
  std::string finding;
  /// What a person can do about it; empty when it works.
  std::string advice;
};

/// Tells a person what works on this desktop and what to do about what does not.
class DoctorCommand {
 public:
  /// Both must outlive this.
  DoctorCommand(RuntimeClient& runtime, std::ostream& output) : runtime_(runtime), output_(output) {}

  /// Prints the findings and, last, whether a runtime answers; one is started when
  /// none runs. The program's exit status: 0 when nothing is broken, else 1.
  int run(std::vector<DesktopFinding> findings);

 private:
  DesktopFinding examineRuntime();
  void print(const DesktopFinding& finding);

  RuntimeClient& runtime_;
  std::ostream& output_;
};

}  // namespace tavik
