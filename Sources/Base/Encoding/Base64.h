#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Base/Encoding/Bytes.h"

namespace tavik {

/// Base64 with the standard alphabet and padding, without line breaks.
std::string base64Encoded(const Bytes& bytes);
/// Absent when the text is not such base64.
std::optional<Bytes> base64Decoded(std::string_view text);

}  // namespace tavik
