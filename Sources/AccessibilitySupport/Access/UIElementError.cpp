#include "AccessibilitySupport/Access/UIElementError.h"

namespace tavik {

std::optional<AXErrorCode> UIElementError::axErrorCode() const {
  return kind_ == Kind::axError ? std::optional(code_) : std::nullopt;
}

const char* UIElementError::what() const noexcept {
  switch (kind_) {
    case Kind::axError:
      return "an accessibility call failed";
    case Kind::nilValue:
      return "an accessibility call gave no value";
    case Kind::invalidElement:
      return "there is no usable accessibility element";
  }
  return "accessibility error";
}

LoggedError UIElementError::loggedError() const {
  return {"UIElementError", "AccessibilitySupport.UIElementError", static_cast<long>(kind_)};
}

}  // namespace tavik
