#include "Backends/Linux/Bus/BusMessage.h"

#include <algorithm>
#include <utility>

#include "Base/Text/Text.h"

namespace tavik {

BusReader::BusReader(DBusMessage* message) {
  empty_ = !message || !dbus_message_iter_init(message, &iterator_);
}

char BusReader::type() {
  return empty_ ? 0 : static_cast<char>(dbus_message_iter_get_arg_type(&iterator_));
}

void BusReader::skip() {
  if (!atEnd()) dbus_message_iter_next(&iterator_);
}

void BusReader::mismatch() {
  ok_ = false;
  skip();
}

std::string BusReader::string() {
  char t = type();
  if (t != DBUS_TYPE_STRING && t != DBUS_TYPE_OBJECT_PATH && t != DBUS_TYPE_SIGNATURE) {
    mismatch();
    return {};
  }
  const char* value = "";
  dbus_message_iter_get_basic(&iterator_, &value);
  skip();
  return value;
}

bool BusReader::boolean() {
  if (type() != DBUS_TYPE_BOOLEAN) {
    mismatch();
    return false;
  }
  dbus_bool_t value = 0;
  dbus_message_iter_get_basic(&iterator_, &value);
  skip();
  return value != 0;
}

std::int64_t BusReader::integer() {
  DBusBasicValue value{};
  char t = type();
  switch (t) {
    case DBUS_TYPE_BYTE:
    case DBUS_TYPE_INT16:
    case DBUS_TYPE_UINT16:
    case DBUS_TYPE_INT32:
    case DBUS_TYPE_UINT32:
    case DBUS_TYPE_INT64:
    case DBUS_TYPE_UINT64:
      dbus_message_iter_get_basic(&iterator_, &value);
      skip();
      break;
    default:
      mismatch();
      return 0;
  }
  switch (t) {
    case DBUS_TYPE_BYTE:
      return value.byt;
    case DBUS_TYPE_INT16:
      return value.i16;
    case DBUS_TYPE_UINT16:
      return value.u16;
    case DBUS_TYPE_INT32:
      return value.i32;
    case DBUS_TYPE_UINT32:
      return value.u32;
    case DBUS_TYPE_INT64:
      return value.i64;
    default:
      return static_cast<std::int64_t>(value.u64);
  }
}

double BusReader::number() {
  if (type() != DBUS_TYPE_DOUBLE) return static_cast<double>(integer());
  double value = 0;
  dbus_message_iter_get_basic(&iterator_, &value);
  skip();
  return value;
}

std::vector<std::uint8_t> BusReader::bytes() {
  if (type() != DBUS_TYPE_ARRAY || dbus_message_iter_get_element_type(&iterator_) != DBUS_TYPE_BYTE) {
    mismatch();
    return {};
  }
  DBusMessageIter inner;
  dbus_message_iter_recurse(&iterator_, &inner);
  const std::uint8_t* data = nullptr;
  int count = 0;
  dbus_message_iter_get_fixed_array(&inner, &data, &count);
  skip();
  return count > 0 ? std::vector<std::uint8_t>(data, data + count) : std::vector<std::uint8_t>{};
}

std::vector<std::string> BusReader::strings() {
  std::vector<std::string> result;
  BusReader array = inside();
  while (!array.atEnd()) result.push_back(array.string());
  ok_ = ok_ && array.ok();
  return result;
}

BusReader BusReader::inside() {
  BusReader inner;
  char t = type();
  if (t == DBUS_TYPE_ARRAY || t == DBUS_TYPE_STRUCT || t == DBUS_TYPE_DICT_ENTRY || t == DBUS_TYPE_VARIANT) {
    dbus_message_iter_recurse(&iterator_, &inner.iterator_);
    inner.empty_ = false;
    skip();
  } else {
    inner.ok_ = false;
    mismatch();
  }
  return inner;
}

BusMessage BusMessage::adopting(DBusMessage* message) {
  BusMessage result;
  result.message_ = message;
  return result;
}

BusMessage BusMessage::methodCall(const std::string& destination, const std::string& path,
                                  const std::string& interface, const std::string& member) {
  return adopting(
      dbus_message_new_method_call(destination.c_str(), path.c_str(), interface.c_str(), member.c_str()));
}

BusMessage BusMessage::signal(const std::string& path, const std::string& interface,
                              const std::string& member) {
  return adopting(dbus_message_new_signal(path.c_str(), interface.c_str(), member.c_str()));
}

BusMessage BusMessage::returnOf(const BusMessage& call) {
  return adopting(dbus_message_new_method_return(call.raw()));
}

BusMessage BusMessage::errorOf(const BusMessage& call, const std::string& name, const std::string& text) {
  return adopting(dbus_message_new_error(call.raw(), name.c_str(), text::repairedUTF8(text).c_str()));
}

BusMessage::BusMessage(const BusMessage& other) : message_(other.message_) {
  if (message_) dbus_message_ref(message_);
}

BusMessage::BusMessage(BusMessage&& other) noexcept : message_(std::exchange(other.message_, nullptr)) {}

BusMessage& BusMessage::operator=(BusMessage other) noexcept {
  std::swap(message_, other.message_);
  return *this;
}

BusMessage::~BusMessage() {
  if (message_) dbus_message_unref(message_);
}

namespace {
std::string_view orEmpty(const char* text) {
  return text ? std::string_view(text) : std::string_view();
}
}  // namespace

std::string_view BusMessage::sender() const {
  return orEmpty(dbus_message_get_sender(message_));
}
std::string_view BusMessage::path() const {
  return orEmpty(dbus_message_get_path(message_));
}
std::string_view BusMessage::interface() const {
  return orEmpty(dbus_message_get_interface(message_));
}
std::string_view BusMessage::member() const {
  return orEmpty(dbus_message_get_member(message_));
}
std::string_view BusMessage::signature() const {
  return orEmpty(dbus_message_get_signature(message_));
}
std::string_view BusMessage::errorName() const {
  return orEmpty(dbus_message_get_error_name(message_));
}
bool BusMessage::isError() const {
  return dbus_message_get_type(message_) == DBUS_MESSAGE_TYPE_ERROR;
}

BusWriter::BusWriter(const BusMessage& message) {
  dbus_message_iter_init_append(message.raw(), &iterator_);
}

BusWriter& BusWriter::basic(int type, const void* value) {
  dbus_message_iter_append_basic(&iterator_, type, value);
  return *this;
}

BusWriter& BusWriter::string(std::string_view value) {
  std::string repaired = text::repairedUTF8(value);
  std::erase(repaired, '\0');
  const char* pointer = repaired.c_str();
  return basic(DBUS_TYPE_STRING, &pointer);
}

BusWriter& BusWriter::path(const std::string& value) {
  const char* pointer = value.c_str();
  return basic(DBUS_TYPE_OBJECT_PATH, &pointer);
}

BusWriter& BusWriter::boolean(bool value) {
  dbus_bool_t wide = value;
  return basic(DBUS_TYPE_BOOLEAN, &wide);
}

BusWriter& BusWriter::int32(std::int32_t value) {
  return basic(DBUS_TYPE_INT32, &value);
}
BusWriter& BusWriter::uint32(std::uint32_t value) {
  return basic(DBUS_TYPE_UINT32, &value);
}
BusWriter& BusWriter::int64(std::int64_t value) {
  return basic(DBUS_TYPE_INT64, &value);
}
BusWriter& BusWriter::uint64(std::uint64_t value) {
  return basic(DBUS_TYPE_UINT64, &value);
}
BusWriter& BusWriter::real(double value) {
  return basic(DBUS_TYPE_DOUBLE, &value);
}

BusWriter& BusWriter::bytes(std::span<const std::uint8_t> value) {
  return array("y", [&](BusWriter& inner) {
    const std::uint8_t* data = value.data();
    if (!value.empty()) {
      dbus_message_iter_append_fixed_array(&inner.iterator_, DBUS_TYPE_BYTE, &data,
                                           static_cast<int>(value.size()));
    }
  });
}

BusWriter& BusWriter::strings(const std::vector<std::string>& values) {
  return array("s", [&](BusWriter& inner) {
    for (const std::string& value : values) inner.string(value);
  });
}

}  // namespace tavik
