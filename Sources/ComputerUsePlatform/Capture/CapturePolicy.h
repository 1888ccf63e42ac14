#pragma once

#include <string_view>

namespace tavik {

/// What a picture may be taken of, and how; from the most careful on.
enum class CapturePolicy { axOnly, safeWindowImage, sckWindowImage, sckDisplayImage };

/// Who takes the picture.
enum class CaptureBackend { axOnly, cgWindow, screenCaptureKit };

/// The raw values, as logs and messages show them.
std::string_view rawValue(CapturePolicy policy);
std::string_view rawValue(CaptureBackend backend);

}  // namespace tavik
