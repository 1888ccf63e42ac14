#pragma once

#include <string>

#include "Base/JSON/JSON.h"

namespace tavik {

/// A tool as the client and its model see it.
struct ToolDescription {
  std::string name;
  std::string title;
  std::string description;
  /// JSON Schema of the arguments.
  JSON inputSchema;
  /// Whether calling it leaves every application as it was.
  bool isReadOnly = false;

  JSON toJSON() const;
};

}  // namespace tavik
