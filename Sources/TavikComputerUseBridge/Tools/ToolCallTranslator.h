#pragma once

#include <string_view>

#include "Base/JSON/JSON.h"
#include "TavikComputerUseBridge/Runtime/RuntimeRequest.h"

namespace tavik {

/// Turns a tool call into the request record that does it. `tool` must be a name of
/// the catalogue, `arguments` an object. A mistake in them is thrown as the
/// `ToolError` that names it.
RuntimeRequest translateToolCall(std::string_view tool, const ParsedJSON& arguments);

}  // namespace tavik
