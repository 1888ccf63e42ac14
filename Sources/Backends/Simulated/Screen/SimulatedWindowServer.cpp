#include "Backends/Simulated/Screen/SimulatedWindowServer.h"

#include <algorithm>
#include <cmath>

namespace tavik {

namespace {

/// Windows behind all ordinary ones belong to the desktop itself.
bool isDesktopElement(const WindowRecord& record) { return record.layer < 0; }

Image painted(const Rect& bounds, const std::array<std::uint8_t, 4>& colour) {
  Image image;
  image.width = std::max(1, static_cast<int>(std::lround(bounds.size.width)));
  image.height = std::max(1, static_cast<int>(std::lround(bounds.size.height)));
  image.bytesPerRow = image.width * 4;
  image.pixels.resize(static_cast<std::size_t>(image.bytesPerRow) * static_cast<std::size_t>(image.height));
  std::uint8_t* const end = image.pixels.data() + image.pixels.size();
  for (std::uint8_t* pixel = image.pixels.data(); pixel != end; pixel += 4) std::copy_n(colour.data(), 4, pixel);
  return image;
}

}  // namespace

std::uint32_t SimulatedWindowServer::addWindow(WindowRecord record) {
  return model_.look([&] { return *model_.addScreenWindowLocked(std::move(record), nullptr).record.windowID; });
}

void SimulatedWindowServer::setPicture(std::uint32_t windowID, Image picture) {
  model_.look([&] {
    for (ScreenWindow& window : model_.screenWindowsLocked()) {
      if (window.record.windowID == windowID) window.picture = std::move(picture);
    }
  });
}

void SimulatedWindowServer::refusePicture(std::uint32_t windowID) { refused_.insert(windowID); }

std::optional<std::vector<WindowRecord>> SimulatedWindowServer::copyWindowInfo(std::uint32_t options,
                                                                               std::uint32_t relativeToWindow) {
  requireNoLockHeld("copyWindowInfo");
  if (isSilent_) return std::nullopt;
  return model_.look([&] {
    std::vector<WindowRecord> records;
    for (const ScreenWindow& window : model_.screenWindowsLocked()) {
      WindowRecord record = model_.currentRecordLocked(window);
      if (relativeToWindow != 0 && record.windowID != relativeToWindow) continue;
      if ((options & WindowListOption::onScreenOnly) && !record.isOnScreen) continue;
      if ((options & WindowListOption::excludeDesktopElements) && isDesktopElement(record)) continue;
      records.push_back(std::move(record));
    }
    return records;
  });
}

std::optional<Image> SimulatedWindowServer::createWindowImage(std::uint32_t windowID) {
  requireNoLockHeld("createWindowImage");
  JournalEntry entry;
  entry.kind = "capture";
  entry.subject = "window " + std::to_string(windowID);
  journal_.record(std::move(entry));
  if (refused_.contains(windowID)) return std::nullopt;
  return model_.look([&]() -> std::optional<Image> {
    for (const ScreenWindow& window : model_.screenWindowsLocked()) {
      const WindowRecord record = model_.currentRecordLocked(window);
      if (record.windowID != windowID) continue;
      if (!record.isOnScreen || !record.bounds) return std::nullopt;
      return window.picture ? *window.picture : painted(*record.bounds, window.colour);
    }
    return std::nullopt;
  });
}

std::optional<Image> SimulatedWindowServer::createScreenImage(Rect area) {
  requireNoLockHeld("createScreenImage");
  if (isSilent_ || area.isEmpty()) return std::nullopt;
  return painted(area, {40, 40, 40, 255});
}

}  // namespace tavik
