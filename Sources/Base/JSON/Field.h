#pragma once

namespace tavik {

/// One line of a record's table: the key on the wire and the member that it fills.
template <class Record, class Value>
struct Field {
  const char* key;
  Value Record::*member;
};

/// A wire record is a plain struct with a table of its fields, from which
/// `Base/JSON/Record.h` reads and writes it:
///
///     struct Size {
///       double width = 0;
///       std::optional<double> height;
///       static constexpr auto fields = std::tuple(field("width", &Size::width), field("height",
///       &Size::height));
///     };
///
/// Keys are written in the table's order. An optional member is left out when it
/// has no value, and may be absent or null on reading; any other must be there.
template <class Record, class Value>
constexpr Field<Record, Value> field(const char* key, Value Record::*member) {
  return {key, member};
}

}  // namespace tavik
