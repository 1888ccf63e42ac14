#pragma once

#include <array>
#include <optional>
#include <set>
#include <vector>

#include "Backends/Simulated/Accessibility/ElementModel.h"
#include "Backends/Simulated/Journal.h"
#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// The screen: every application's windows from front to back, and windows that no
/// element stands for. A window's picture is one colour unless a test gives it another.
class SimulatedWindowServer : public WindowServerPort {
 public:
  SimulatedWindowServer(ElementModel& model, Journal& journal) : model_(model), journal_(journal) {}

  /// A window that the accessibility interface knows nothing of; answers its number.
  std::uint32_t addWindow(WindowRecord record);
  void setPicture(std::uint32_t windowID, Image picture);
  /// From now on no list is answered.
  void stopAnswering(bool isSilent = true) { isSilent_ = isSilent; }
  /// From now on the window gives no picture.
  void refusePicture(std::uint32_t windowID);
  void setScreens(std::vector<ScreenRecord> screens) { screens_ = std::move(screens); }
  void moveMouse(Point to) { mouse_ = to; }

  std::optional<std::vector<WindowRecord>> copyWindowInfo(std::uint32_t options,
                                                          std::uint32_t relativeToWindow) override;
  std::optional<Image> createWindowImage(std::uint32_t windowID) override;
  std::optional<Image> createScreenImage(Rect area) override;
  std::vector<ScreenRecord> screens() override { return screens_; }
  Point mouseLocation() override { return mouse_; }

 private:
  ElementModel& model_;
  Journal& journal_;
  bool isSilent_ = false;
  std::set<std::uint32_t> refused_;
  std::vector<ScreenRecord> screens_ = {{{{0, 0}, {1920, 1200}}, {{0, 25}, {1920, 1175}}, 1}};
  Point mouse_{960, 600};
};

}  // namespace tavik
