#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "TavikComputerUseBridge/Tools/ToolDescription.h"

namespace tavik {

/// All tools, with the words from which a model learns to use them.
class ToolCatalogue {
 public:
  /// `shortcutModifier` is the key of this desktop's shortcuts as `press_key` names
  /// it: "ctrl" or "cmd".
  explicit ToolCatalogue(const std::string& shortcutModifier);

  const std::vector<ToolDescription>& tools() const { return tools_; }
  bool contains(std::string_view name) const;

  /// What holds for all tools, given to the model once.
  const std::string& instructions() const { return instructions_; }

 private:
  std::vector<ToolDescription> tools_;
  std::string instructions_;
};

}  // namespace tavik
