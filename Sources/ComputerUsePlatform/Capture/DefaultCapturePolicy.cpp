#include "ComputerUsePlatform/Capture/DefaultCapturePolicy.h"

#include <set>

#include "Base/Text/Text.h"

namespace tavik {

namespace {

/// Where the newer capture hangs, the window server's own pictures serve.
constexpr int firstVersionThatHangsOnIntel = 26;

CapturePolicy ordinaryPolicy(const CaptureEnvironment& environment) {
  const bool hangs = environment.isIntelX86_64 && environment.osMajorVersion >= firstVersionThatHangsOnIntel;
  return hangs || !environment.hasScreenCaptureKit ? CapturePolicy::safeWindowImage : CapturePolicy::sckWindowImage;
}

}  // namespace

CapturePolicy defaultCapturePolicy(std::optional<std::int32_t> pid, bool hasTrustedTargetWindow,
                                   const CaptureEnvironment& environment) {
  static const std::set<std::string> none = {"ax", "ax-only", "none", "off"};
  static const std::set<std::string> windowImages = {"cg", "cgwindow", "safe", "safe-window"};
  static const std::set<std::string> screenCaptureKit = {"sck", "screencapturekit"};
  static const std::set<std::string> display = {"sck-display", "display"};

  const std::string wish = text::lowercased(text::trimmed(environment.backend.value_or("")));
  if (none.contains(wish)) return CapturePolicy::axOnly;
  if (windowImages.contains(wish)) {
    return hasTrustedTargetWindow ? CapturePolicy::safeWindowImage : CapturePolicy::axOnly;
  }
  if (screenCaptureKit.contains(wish)) {
    return hasTrustedTargetWindow ? CapturePolicy::sckWindowImage : CapturePolicy::sckDisplayImage;
  }
  if (display.contains(wish)) return CapturePolicy::sckDisplayImage;

  if (!pid) return CapturePolicy::sckDisplayImage;
  if (!hasTrustedTargetWindow) return CapturePolicy::axOnly;
  return ordinaryPolicy(environment);
}

}  // namespace tavik
