#pragma once

#include <functional>
#include <vector>

#include "Backends/Simulated/Journal.h"
#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/ScreenCapturePort.h"
#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// The newer capture of the simulated desktop: it offers what the window server
/// shows. Absent until a test says that the platform has it. Any thread.
class SimulatedScreenCapture : public ScreenCapturePort {
 public:
  SimulatedScreenCapture(WindowServerPort& windowServer, Journal& journal)
      : windowServer_(windowServer), journal_(journal) {}

  void setAvailable(bool isAvailable);
  /// Runs inside each call before it answers; it may wait.
  void setOnContent(std::function<void()> body);
  void setOnImage(std::function<void()> body);
  /// What the next calls answer in place of the truth; absent answers fail.
  void setContent(std::function<std::optional<ShareableContent>(ShareableContent)> change);
  void refuseImages(bool isRefusing);

  struct Captured {
    ContentFilter filter;
    StreamConfiguration configuration;
  };
  std::vector<Captured> captured() const;

  bool isAvailable() override;
  std::optional<ShareableContent> currentShareableContent() override;
  std::optional<Image> captureImage(const ContentFilter& filter, const StreamConfiguration& configuration) override;

 private:
  WindowServerPort& windowServer_;
  Journal& journal_;
  mutable Mutex mutex_;
  bool isAvailable_ = false;
  bool isRefusing_ = false;
  std::function<void()> onContent_;
  std::function<void()> onImage_;
  std::function<std::optional<ShareableContent>(ShareableContent)> change_;
  std::vector<Captured> captured_;
};

}  // namespace tavik
