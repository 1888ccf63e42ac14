#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <type_traits>

namespace tavik {

/// The texts of an enumeration's cases on the wire, in the order of the cases,
/// which count from 0. An enumeration of the wire specialises it:
///
///     template <>
///     inline constexpr auto rawValues<Mode> = std::to_array<std::string_view>({"off", "on"});
template <class Enumeration>
inline constexpr auto rawValues = nullptr;

template <class Type>
concept RawValueEnumeration = std::is_enum_v<Type> && requires {
  rawValues<Type>.size();
};

template <RawValueEnumeration Enumeration>
constexpr std::string_view rawValue(Enumeration value) {
  return rawValues<Enumeration>[static_cast<std::size_t>(value)];
}

/// Absent when no case has that text.
template <RawValueEnumeration Enumeration>
constexpr std::optional<Enumeration> fromRawValue(std::string_view text) {
  for (std::size_t i = 0; i < rawValues<Enumeration>.size(); ++i) {
    if (rawValues<Enumeration>[i] == text) return static_cast<Enumeration>(i);
  }
  return std::nullopt;
}

}  // namespace tavik
