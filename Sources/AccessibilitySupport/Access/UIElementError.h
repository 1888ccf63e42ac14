#pragma once

#include <exception>
#include <expected>
#include <optional>

#include "PlatformInterfaces/AXValue.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

/// Why a call to the accessibility interface gave nothing. Thrown by `AXWrapper`,
/// and carried as a value where thousands of reads a second may fail.
class UIElementError : public std::exception, public LoggableError {
 public:
  enum class Kind {
    axError,         ///< the call returned a code other than 0
    nilValue,        ///< the call succeeded but gave no value
    invalidElement,  ///< no usable element or observer exists for the call
  };

  static UIElementError axError(AXErrorCode code) { return {Kind::axError, code}; }
  static UIElementError nilValue() { return {Kind::nilValue, 0}; }
  static UIElementError invalidElement() { return {Kind::invalidElement, 0}; }

  Kind kind() const { return kind_; }
  /// The platform's code of an `axError`; absent for the other kinds.
  std::optional<AXErrorCode> axErrorCode() const;

  const char* what() const noexcept override;
  LoggedError loggedError() const override;

  bool operator==(const UIElementError& other) const { return kind_ == other.kind_ && code_ == other.code_; }

 private:
  UIElementError(Kind kind, AXErrorCode code) : kind_(kind), code_(code) {}

  Kind kind_;
  AXErrorCode code_;
};

template <class T>
using UIElementResult = std::expected<T, UIElementError>;

}  // namespace tavik
