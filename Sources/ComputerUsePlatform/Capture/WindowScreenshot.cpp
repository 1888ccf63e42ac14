#include "ComputerUsePlatform/Capture/WindowScreenshot.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "ComputerUsePlatform/Capture/CaptureTimeout.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

using Error = ApplicationSnapshotCaptureError;

constexpr double shorterSidePixels = 768;
constexpr double shareableContentSeconds = 2;
constexpr double captureImageSeconds = 2;
constexpr const char* dock = "com.apple.dock";

Image resized(ImageCodingPort& imageCoding, const Image& image, Size size) {
  const int width = static_cast<int>(size.width);
  const int height = static_cast<int>(size.height);
  return image.width == width && image.height == height ? image : imageCoding.scaled(image, width, height);
}

/// The wallpaper is a window of the dock and belongs to the picture of a display.
bool isWallpaper(const ShareableWindow& window) {
  return window.owningBundleIdentifier == dock && window.title && window.title->contains("Wallpaper");
}

/// A new file that only this user can read: it shows the user's screen.
bool writePrivateFile(const std::string& path, const Bytes& bytes) {
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (descriptor < 0) return false;
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t count = ::write(descriptor, bytes.data() + written, bytes.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    written += static_cast<std::size_t>(count);
  }
  return ::close(descriptor) == 0 && written == bytes.size();
}

struct Shot {
  ContentFilter filter;
  Size size;
};

Shot displayShot(const ShareableContent& content, const std::vector<std::uint32_t>& excludeWindowIDs) {
  const ShareableDisplay& display = content.displays.front();
  DisplayFilter filter{display.displayID, {}};
  for (const ShareableWindow& window : content.windows) {
    const bool isUnwanted = std::ranges::find(excludeWindowIDs, window.windowID) != excludeWindowIDs.end();
    if (isUnwanted && !isWallpaper(window)) filter.excludingWindows.push_back(window.windowID);
  }
  return {std::move(filter), display.size};
}

Shot windowShot(const ShareableContent& content, std::uint32_t windowID) {
  const auto window = std::ranges::find(content.windows, windowID, &ShareableWindow::windowID);
  if (window == content.windows.end()) throw Error::windowScreenshotUnavailable(windowID);
  const auto size = WindowScreenshot::singleWindowCaptureSize(window->frame);
  if (!size) throw Error::invalidWindowSize(windowID);
  return {DesktopIndependentWindowFilter{windowID}, *size};
}

}  // namespace

WindowScreenshot::WindowScreenshot(WindowServerPort& windowServer, ScreenCapturePort& screenCapture,
                                   ImageCodingPort& imageCoding, WindowUtilities& windows, Scheduler& scheduler)
    : windowServer_(windowServer),
      screenCapture_(screenCapture),
      imageCoding_(imageCoding),
      windows_(windows),
      scheduler_(scheduler),
      lateCalls_(scheduler) {}

std::optional<Size> WindowScreenshot::singleWindowCaptureSize(const Rect& frame) {
  if (!(frame.size.width > 0) || !(frame.size.height > 0)) return std::nullopt;
  const double shorterSide = std::min(frame.size.width, frame.size.height);
  const auto pixels = [&](double side) { return std::max(1.0, std::ceil(side * shorterSidePixels / shorterSide)); };
  return Size{pixels(frame.size.width), pixels(frame.size.height)};
}

std::string WindowScreenshot::captureCGWindowScreenshotUnsafe(std::uint32_t windowID, const std::string& file) {
  const auto image = windowServer_.createWindowImage(windowID);
  if (!image) throw Error::windowScreenshotUnavailable(windowID);
  const auto bounds = windows_.windowFrame(windowID);
  const auto size = bounds ? singleWindowCaptureSize(*bounds) : std::nullopt;
  if (!size) throw Error::invalidWindowSize(windowID);
  return writePNG(resized(imageCoding_, *image, *size), "cgwindow", file);
}

std::string WindowScreenshot::captureScreenCaptureKitScreenshot(std::optional<std::uint32_t> targetWindowID,
                                                                const std::vector<std::uint32_t>& excludeWindowIDs,
                                                                const std::string& file) {
  const auto content = CaptureTimeout::run(scheduler_, lateCalls_, "SCShareableContent.current", shareableContentSeconds,
                                           [this] { return screenCapture_.currentShareableContent(); });
  if (!content || content->displays.empty()) throw Error::noDisplay();
  const Shot shot = targetWindowID ? windowShot(*content, *targetWindowID) : displayShot(*content, excludeWindowIDs);

  StreamConfiguration configuration;
  configuration.width = static_cast<int>(shot.size.width);
  configuration.height = static_cast<int>(shot.size.height);
  const auto image =
      CaptureTimeout::run(scheduler_, lateCalls_, "SCScreenshotManager.captureImage", captureImageSeconds,
                          [this, shot, configuration] { return screenCapture_.captureImage(shot.filter, configuration); });
  if (!image) throw targetWindowID ? Error::windowScreenshotUnavailable(*targetWindowID) : Error::noDisplay();
  return writePNG(targetWindowID ? resized(imageCoding_, *image, shot.size) : *image, "sck", file);
}

std::string WindowScreenshot::writePNG(const Image& image, const char* backend, const std::string& file) {
  const auto png = imageCoding_.encodePNG(image);
  if (!png) throw Error::pngWriteFailed();
  if (!writePrivateFile(file, *png)) throw Error::pngWriteFailed();
  TavikComputerUseLogger::info(LogCategory::capture, "screenshot_encoded",
                               {{"backend", backend}, {"width", image.width}, {"height", image.height}});
  return file;
}

}  // namespace tavik
