#include "ComputerUsePlatform/Capture/CapturePolicy.h"

namespace tavik {

std::string_view rawValue(CapturePolicy policy) {
  switch (policy) {
    case CapturePolicy::axOnly:
      return "AX_ONLY";
    case CapturePolicy::safeWindowImage:
      return "SAFE_WINDOW_IMAGE";
    case CapturePolicy::sckWindowImage:
      return "SCK_WINDOW_IMAGE";
    case CapturePolicy::sckDisplayImage:
      return "SCK_DISPLAY_IMAGE";
  }
  return "";
}

std::string_view rawValue(CaptureBackend backend) {
  switch (backend) {
    case CaptureBackend::axOnly:
      return "ax-only";
    case CaptureBackend::cgWindow:
      return "cgwindow";
    case CaptureBackend::screenCaptureKit:
      return "sck";
  }
  return "";
}

}  // namespace tavik
