#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tavik {

/// A value of the preferences or of the application's properties. A list that
/// holds anything but texts is `unreadableProperty`.
struct UnreadableProperty {
  bool operator==(const UnreadableProperty&) const = default;
};
using PropertyValue =
    std::variant<bool, std::int64_t, double, std::string, std::vector<std::string>, UnreadableProperty>;

/// The user's preferences and the application's own properties. Every call reads
/// the present value. Any thread; does not throw.
class PreferencesPort {
 public:
  virtual ~PreferencesPort() = default;
  /// What the user set under a key.
  virtual std::optional<PropertyValue> object(const std::string& key) = 0;
  /// What the application's maker set under a key.
  virtual std::optional<PropertyValue> applicationProperty(const std::string& key) = 0;
};

}  // namespace tavik
