#pragma once

#include <dbus/dbus.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

/// Reads the arguments of a message one after another. A value of another type
/// than asked for reads as the type's empty value and is stepped over; `ok` then
/// turns false. Valid while its message lives.
class BusReader {
 public:
  explicit BusReader(DBusMessage* message);

  /// The D-Bus type code of the next value; 0 at the end.
  char type();
  bool atEnd() { return type() == 0; }
  bool ok() const { return ok_; }

  /// Strings, object paths and signatures.
  std::string string();
  bool boolean();
  /// Any integer type, widened.
  std::int64_t integer();
  /// Any number type.
  double number();
  std::vector<std::uint8_t> bytes();
  std::vector<std::string> strings();
  /// The inside of the next array, structure, dictionary entry or variant; steps
  /// over it here.
  BusReader inside();
  void skip();

 private:
  BusReader() = default;
  void mismatch();

  DBusMessageIter iterator_{};
  bool ok_ = true;
  bool empty_ = true;
};

/// A shared handle to one D-Bus message.
class BusMessage {
 public:
  BusMessage() = default;
  /// Takes over one reference.
  static BusMessage adopting(DBusMessage* message);
  static BusMessage methodCall(const std::string& destination, const std::string& path,
                               const std::string& interface, const std::string& member);
  static BusMessage signal(const std::string& path, const std::string& interface, const std::string& member);
  static BusMessage returnOf(const BusMessage& call);
  static BusMessage errorOf(const BusMessage& call, const std::string& name, const std::string& text);

  BusMessage(const BusMessage& other);
  BusMessage(BusMessage&& other) noexcept;
  BusMessage& operator=(BusMessage other) noexcept;
  ~BusMessage();

  explicit operator bool() const { return message_ != nullptr; }
  DBusMessage* raw() const { return message_; }

  std::string_view sender() const;
  std::string_view path() const;
  std::string_view interface() const;
  std::string_view member() const;
  std::string_view signature() const;
  std::string_view errorName() const;
  bool isError() const;
  BusReader read() const { return BusReader(message_); }

 private:
  DBusMessage* message_ = nullptr;
};

/// Appends arguments to a message that has not been sent. Text is repaired to
/// valid UTF-8 without zero bytes before it goes out.
class BusWriter {
 public:
  explicit BusWriter(const BusMessage& message);

  BusWriter& string(std::string_view value);
  BusWriter& path(const std::string& value);
  BusWriter& boolean(bool value);
  BusWriter& int32(std::int32_t value);
  BusWriter& uint32(std::uint32_t value);
  BusWriter& int64(std::int64_t value);
  BusWriter& uint64(std::uint64_t value);
  BusWriter& real(double value);
  BusWriter& bytes(std::span<const std::uint8_t> value);
  BusWriter& strings(const std::vector<std::string>& values);

  /// Each writes a container whose content `fill` appends through the inner writer.
  template <class Fill>
  BusWriter& array(const char* elementSignature, Fill fill) {
    return container(DBUS_TYPE_ARRAY, elementSignature, fill);
  }
  template <class Fill>
  BusWriter& structure(Fill fill) {
    return container(DBUS_TYPE_STRUCT, nullptr, fill);
  }
  template <class Fill>
  BusWriter& dictionaryEntry(Fill fill) {
    return container(DBUS_TYPE_DICT_ENTRY, nullptr, fill);
  }
  template <class Fill>
  BusWriter& variant(const char* signature, Fill fill) {
    return container(DBUS_TYPE_VARIANT, signature, fill);
  }

 private:
  BusWriter() = default;
  BusWriter& basic(int type, const void* value);

  template <class Fill>
  BusWriter& container(int type, const char* signature, Fill& fill) {
    BusWriter inner;
    dbus_message_iter_open_container(&iterator_, type, signature, &inner.iterator_);
    fill(inner);
    dbus_message_iter_close_container(&iterator_, &inner.iterator_);
    return *this;
  }

  DBusMessageIter iterator_{};
};

}  // namespace tavik
