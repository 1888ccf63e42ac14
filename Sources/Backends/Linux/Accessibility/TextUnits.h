#pragma once

#include <string_view>

#include "Base/Geometry/Geometry.h"

namespace tavik {

/// The accessibility bus counts code points, the AX vocabulary UTF-16 units. Each
/// gives the same place in the other's count; places beyond the text become its end.
long utf16Offset(std::string_view text, long codePoints);
long codePointOffset(std::string_view text, long utf16Units);

/// The UTF-16 range of [start, end) in code points.
TextRange utf16Range(std::string_view text, long start, long end);

}  // namespace tavik
