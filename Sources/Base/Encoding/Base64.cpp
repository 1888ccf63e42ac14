#include "Base/Encoding/Base64.h"

#include <array>

namespace tavik {

namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int invalid = -1;

constexpr std::array<int, 256> makeDigits() {
  std::array<int, 256> digits{};
  for (int& digit : digits) digit = invalid;
  for (int i = 0; i < 64; ++i) digits[static_cast<unsigned char>(alphabet[i])] = i;
  return digits;
}

constexpr std::array<int, 256> digits = makeDigits();

}  // namespace

std::string base64Encoded(const Bytes& bytes) {
  std::string result;
  result.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t left = bytes.size() - i;
    std::uint32_t group = static_cast<std::uint32_t>(bytes[i]) << 16;
    if (left > 1) group |= static_cast<std::uint32_t>(bytes[i + 1]) << 8;
    if (left > 2) group |= bytes[i + 2];
    result += alphabet[group >> 18];
    result += alphabet[group >> 12 & 63];
    result += left > 1 ? alphabet[group >> 6 & 63] : '=';
    result += left > 2 ? alphabet[group & 63] : '=';
  }
  return result;
}

std::optional<Bytes> base64Decoded(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::size_t padding = 0;
  if (text.ends_with("==")) {
    padding = 2;
  } else if (text.ends_with("=")) {
    padding = 1;
  }
  Bytes bytes;
  bytes.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    const bool isLast = i + 4 == text.size();
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 4; ++j) {
      const bool isPadding = isLast && j >= 4 - padding;
      const int digit = isPadding ? 0 : digits[static_cast<unsigned char>(text[i + j])];
      if (digit == invalid) return std::nullopt;
      group = group << 6 | static_cast<std::uint32_t>(digit);
    }
    const std::size_t count = isLast ? 3 - padding : 3;
    for (std::size_t j = 0; j < count; ++j) bytes.push_back(static_cast<std::uint8_t>(group >> (16 - 8 * j)));
  }
  return bytes;
}

}  // namespace tavik
