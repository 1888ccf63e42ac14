#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace tavik {

/// The failure of a tool, in words for the model. It reaches the model as a result
/// that is an error and never the transport.
class ToolError : public std::exception {
 public:
  enum class Case {
    missingRequiredArgument,
    missingExpectedArgument,
    invalidScrollDirection,
    invalidMouseButton,
    invalidSecondaryAction,
    appNotFound,
    elementNotFound,
    axActionFailed,
    axSetValueFailed,
    staleAppState,
    actionRejected,
    ipcError,
    pagesMustBeGreaterThanZero,
    mouseActionNotSupportedForMenuItems,
    cannotSetValueForNonSettableElement,
    missingTextToType,
    invalidDuration,
    noActiveAppState,
  };

  static ToolError missingRequiredArgument(std::string_view argument);
  static ToolError missingExpectedArgument(std::string_view argument);
  static ToolError invalidScrollDirection(std::string_view value);
  static ToolError invalidMouseButton(std::string_view value);
  static ToolError invalidSecondaryAction(std::string_view requested, std::string_view element);
  static ToolError appNotFound(std::string_view app);
  static ToolError elementNotFound(std::int64_t index);
  static ToolError axActionFailed(std::string_view name, std::int32_t code);
  static ToolError axSetValueFailed(std::int32_t code);
  static ToolError staleAppState(std::string_view app);
  /// `words` are the description as a whole.
  static ToolError actionRejected(std::string words);
  static ToolError ipcError(std::string_view message);
  static ToolError pagesMustBeGreaterThanZero();
  static ToolError mouseActionNotSupportedForMenuItems();
  static ToolError cannotSetValueForNonSettableElement();
  static ToolError missingTextToType();
  static ToolError invalidDuration();
  static ToolError noActiveAppState();

  Case errorCase() const { return case_; }
  /// The name of the case.
  const char* caseName() const;
  /// The sentence for the model.
  const std::string& description() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

  bool operator==(const ToolError& other) const {
    return case_ == other.case_ && description_ == other.description_;
  }

 private:
  ToolError(Case which, std::string description) : case_(which), description_(std::move(description)) {}

  Case case_;
  std::string description_;
};

}  // namespace tavik
