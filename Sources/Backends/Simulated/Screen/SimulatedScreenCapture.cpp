#include "Backends/Simulated/Screen/SimulatedScreenCapture.h"

#include <utility>

namespace tavik {

void SimulatedScreenCapture::setAvailable(bool isAvailable) {
  MutexLock lock(mutex_);
  isAvailable_ = isAvailable;
}

void SimulatedScreenCapture::setOnContent(std::function<void()> body) {
  MutexLock lock(mutex_);
  onContent_ = std::move(body);
}

void SimulatedScreenCapture::setOnImage(std::function<void()> body) {
  MutexLock lock(mutex_);
  onImage_ = std::move(body);
}

void SimulatedScreenCapture::setContent(std::function<std::optional<ShareableContent>(ShareableContent)> change) {
  MutexLock lock(mutex_);
  change_ = std::move(change);
}

void SimulatedScreenCapture::refuseImages(bool isRefusing) {
  MutexLock lock(mutex_);
  isRefusing_ = isRefusing;
}

std::vector<SimulatedScreenCapture::Captured> SimulatedScreenCapture::captured() const {
  MutexLock lock(mutex_);
  return captured_;
}

bool SimulatedScreenCapture::isAvailable() {
  MutexLock lock(mutex_);
  return isAvailable_;
}

std::optional<ShareableContent> SimulatedScreenCapture::currentShareableContent() {
  requireNoLockHeld("currentShareableContent");
  std::function<void()> onContent;
  std::function<std::optional<ShareableContent>(ShareableContent)> change;
  {
    MutexLock lock(mutex_);
    if (!isAvailable_) return std::nullopt;
    onContent = onContent_;
    change = change_;
  }
  if (onContent) onContent();
  ShareableContent content;
  std::uint32_t displayID = 1;
  for (const ScreenRecord& screen : windowServer_.screens()) content.displays.push_back({displayID++, screen.frame.size});
  for (const WindowRecord& window : windowServer_.copyWindowInfo(0, 0).value_or(std::vector<WindowRecord>())) {
    if (!window.windowID || !window.bounds) continue;
    content.windows.push_back({*window.windowID, std::nullopt, window.name, window.isOnScreen, *window.bounds});
  }
  return change ? change(std::move(content)) : std::optional(std::move(content));
}

std::optional<Image> SimulatedScreenCapture::captureImage(const ContentFilter& filter,
                                                          const StreamConfiguration& configuration) {
  requireNoLockHeld("captureImage");
  std::function<void()> onImage;
  {
    MutexLock lock(mutex_);
    if (!isAvailable_) return std::nullopt;
    captured_.push_back({filter, configuration});
    onImage = onImage_;
  }
  const auto* window = std::get_if<DesktopIndependentWindowFilter>(&filter);
  journal_.record({.time = {},
                   .kind = "capture",
                   .pid = 0,
                   .subject = window ? "window " + std::to_string(window->windowID) : "display",
                   .name = "sck",
                   .value = {}});
  if (onImage) onImage();
  {
    MutexLock lock(mutex_);
    if (isRefusing_) return std::nullopt;
  }
  const auto length = static_cast<std::size_t>(configuration.width) * static_cast<std::size_t>(configuration.height);
  return Image{configuration.width, configuration.height, configuration.width * 4, Bytes(length * 4, 128)};
}

}  // namespace tavik
