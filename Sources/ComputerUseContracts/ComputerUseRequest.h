#pragma once

#include <concepts>
#include <string_view>

namespace tavik {

/// A record that asks for something: it carries the literal that names it on the
/// wire and the type of the record that answers it.
template <class Record>
concept ComputerUseRequest = requires {
  { Record::requestType } -> std::convertible_to<std::string_view>;
  typename Record::Response;
};

}  // namespace tavik
