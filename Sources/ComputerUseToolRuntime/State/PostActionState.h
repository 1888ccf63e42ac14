#pragma once

#include <string>

#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/State/AppStateReader.h"

namespace tavik {

/// The state that follows an action, without its frame, so that it reads as the
/// continuation of the action's own text.
class PostActionState {
 public:
  explicit PostActionState(AppStateReader& reader) : reader_(reader) {}

  /// Called inside the session-state gate. Throws as `AppStateReader::getAppState`.
  ToolResult capture(const std::string& app);

 private:
  AppStateReader& reader_;
};

}  // namespace tavik
