#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/JSON/JSON.h"

namespace tavik {

/// The arguments of one tool call, read by name. An argument that is null counts as
/// absent. What is missing or of the wrong kind is thrown as a `ToolError`.
class ToolArguments {
 public:
  /// `object` must be a JSON object and outlive this.
  explicit ToolArguments(const ParsedJSON& object) : object_(object) {}

  bool has(const std::string& name) const { return find(name) != nullptr; }

  std::optional<std::string> text(const std::string& name) const;
  /// Neither absent nor empty.
  std::string requiredText(const std::string& name) const;

  /// Numbers may also come written as a text, as models like to send them.
  std::optional<double> number(const std::string& name) const;
  double requiredNumber(const std::string& name) const;
  /// A number without a fraction.
  std::optional<std::int64_t> integer(const std::string& name) const;
  std::int64_t requiredInteger(const std::string& name) const;

 private:
  const ParsedJSON* find(const std::string& name) const;

  const ParsedJSON& object_;
};

}  // namespace tavik
