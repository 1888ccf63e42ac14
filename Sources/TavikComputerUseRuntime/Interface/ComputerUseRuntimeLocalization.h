#pragma once

#include "PlatformInterfaces/UserInterfacePort.h"

namespace tavik {

/// The words that a person reads, in the two languages of the program.
class ComputerUseRuntimeLocalization {
 public:
  explicit ComputerUseRuntimeLocalization(bool isChinese) : isChinese_(isChinese) {}

  /// Whether the user allows that their actions are recorded.
  Alert recordingConfirmation() const;

 private:
  const bool isChinese_;
};

}  // namespace tavik
