#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Base/Geometry/Geometry.h"
#include "PlatformInterfaces/AXElement.h"

namespace tavik {

/// The platform's result code of an accessibility call.
using AXErrorCode = std::int32_t;

namespace AXError {
inline constexpr AXErrorCode success = 0;
inline constexpr AXErrorCode failure = -25200;
inline constexpr AXErrorCode illegalArgument = -25201;
inline constexpr AXErrorCode invalidUIElement = -25202;
inline constexpr AXErrorCode invalidUIElementObserver = -25203;
inline constexpr AXErrorCode cannotComplete = -25204;
inline constexpr AXErrorCode attributeUnsupported = -25205;
inline constexpr AXErrorCode actionUnsupported = -25206;
inline constexpr AXErrorCode notificationUnsupported = -25207;
inline constexpr AXErrorCode notImplemented = -25208;
inline constexpr AXErrorCode notificationAlreadyRegistered = -25209;
inline constexpr AXErrorCode notificationNotRegistered = -25210;
inline constexpr AXErrorCode apiDisabled = -25211;
inline constexpr AXErrorCode noValue = -25212;
inline constexpr AXErrorCode parameterizedAttributeUnsupported = -25213;
inline constexpr AXErrorCode notEnoughPrecision = -25214;
}  // namespace AXError

struct AXURL {
  std::string absoluteString;
  bool operator==(const AXURL&) const = default;
};

/// Text with attributes that the system does not look at.
struct AXAttributedText {
  std::string text;
  bool operator==(const AXAttributedText&) const = default;
};

/// A range between two places of a text that only the application understands.
struct AXTextMarkerRange {
  std::shared_ptr<const void> opaque;
  bool operator==(const AXTextMarkerRange&) const = default;
};

/// Stands in a batched answer where an attribute could not be read.
struct AXErrorMark {
  AXErrorCode code = AXError::attributeUnsupported;
  bool operator==(const AXErrorMark&) const = default;
};

class AXValue;
using AXArray = std::vector<AXValue>;

/// A value that crosses the accessibility port. Text is UTF-8, geometry global
/// points, ranges UTF-16 units. `std::monostate` is the null value.
class AXValue {
 public:
  using Storage = std::variant<std::monostate, std::string, bool, std::int64_t, double, Point, Size, Rect,
                               TextRange, AXURL, AXElement, AXArray, AXAttributedText, AXTextMarkerRange,
                               AXErrorMark>;

  AXValue() = default;
  AXValue(std::string value) : storage_(std::move(value)) {}
  AXValue(const char* value) : storage_(std::string(value)) {}
  AXValue(bool value) : storage_(value) {}
  AXValue(int value) : storage_(static_cast<std::int64_t>(value)) {}
  AXValue(std::int64_t value) : storage_(value) {}
  AXValue(double value) : storage_(value) {}
  AXValue(Point value) : storage_(value) {}
  AXValue(Size value) : storage_(value) {}
  AXValue(Rect value) : storage_(value) {}
  AXValue(TextRange value) : storage_(value) {}
  AXValue(AXURL value) : storage_(std::move(value)) {}
  AXValue(AXElement value) : storage_(std::move(value)) {}
  AXValue(AXArray value) : storage_(std::move(value)) {}
  AXValue(AXAttributedText value) : storage_(std::move(value)) {}
  AXValue(AXTextMarkerRange value) : storage_(std::move(value)) {}
  AXValue(AXErrorMark value) : storage_(value) {}

  bool isNull() const { return std::holds_alternative<std::monostate>(storage_); }

  /// The value as a T, or nothing when it is of another kind.
  template <class T>
  const T* get() const {
    return std::get_if<T>(&storage_);
  }

  const Storage& storage() const { return storage_; }
  bool operator==(const AXValue&) const = default;

 private:
  Storage storage_;
};

}  // namespace tavik
