#include "ComputerUseToolRuntime/State/PostActionState.h"

#include "ComputerUseToolRuntime/State/AppStateEnvelope.h"

namespace tavik {

ToolResult PostActionState::capture(const std::string& app) {
  ToolResult state = reader_.getAppState(app, {});
  for (ToolResultContent& block : state.content) {
    if (block.isText()) block = ToolResultContent::text(stripAppStateEnvelope(block.text()));
  }
  return state;
}

}  // namespace tavik
