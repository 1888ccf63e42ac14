#pragma once

#include <string>

#include "Base/Concurrency/Scheduler.h"
#include "ComputerUseContracts/ToolResult.h"
#include "TavikComputerUseBridge/Runtime/RuntimeClient.h"
#include "TavikComputerUseBridge/Tools/ToolCatalogue.h"

namespace tavik {

/// Does a tool call: arguments to request, request to runtime, response to result.
/// Any task, several at once.
class ToolCaller {
 public:
  /// All must outlive this.
  ToolCaller(const ToolCatalogue& catalogue, Scheduler& scheduler, RuntimeClient& runtime)
      : catalogue_(catalogue), scheduler_(scheduler), runtime_(runtime) {}

  const ToolCatalogue& catalogue() const { return catalogue_; }

  /// Blocks for the result, under a request identifier of its own. `tool` must be in the catalogue and
  /// `arguments` an object. Never throws: what goes wrong is a result that says so.
  ToolResult call(const std::string& tool, const ParsedJSON& arguments);

 private:
  ToolResult perform(const std::string& tool, const ParsedJSON& arguments);

  const ToolCatalogue& catalogue_;
  Scheduler& scheduler_;
  RuntimeClient& runtime_;
};

}  // namespace tavik
