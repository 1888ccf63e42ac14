#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "Base/JSON/Field.h"
#include "ComputerUseContracts/ComputerUseIPCAppshotCaptureUpdate.h"
#include "ComputerUseContracts/ComputerUseIPCEmptyResponse.h"

namespace tavik {

struct ComputerUseIPCAppshotRect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  static constexpr auto fields = std::tuple(
      field("x", &ComputerUseIPCAppshotRect::x), field("y", &ComputerUseIPCAppshotRect::y),
      field("width", &ComputerUseIPCAppshotRect::width), field("height", &ComputerUseIPCAppshotRect::height));
  bool operator==(const ComputerUseIPCAppshotRect&) const = default;
};

struct ComputerUseIPCAppshotDisplay {
  std::optional<std::int64_t> id;
  std::optional<double> scaleFactor;
  std::optional<ComputerUseIPCAppshotRect> bounds;
  std::optional<ComputerUseIPCAppshotRect> workArea;

  static constexpr auto fields = std::tuple(field("id", &ComputerUseIPCAppshotDisplay::id),
                                            field("scaleFactor", &ComputerUseIPCAppshotDisplay::scaleFactor),
                                            field("bounds", &ComputerUseIPCAppshotDisplay::bounds),
                                            field("workArea", &ComputerUseIPCAppshotDisplay::workArea));
  bool operator==(const ComputerUseIPCAppshotDisplay&) const = default;
};

/// Where in the host the picture of a window flies to.
struct ComputerUseIPCAppshotAnimationTarget {
  std::optional<ComputerUseIPCAppshotDisplay> velarDisplay;
  std::optional<std::string> destinationBackgroundColor;
  std::optional<double> destinationCornerRadius;
  std::optional<ComputerUseIPCAppshotRect> destinationFrame;
  std::optional<std::string> destinationPrimaryTextColor;

  static constexpr auto fields = std::tuple(
      field("velarDisplay", &ComputerUseIPCAppshotAnimationTarget::velarDisplay),
      field("destinationBackgroundColor", &ComputerUseIPCAppshotAnimationTarget::destinationBackgroundColor),
      field("destinationCornerRadius", &ComputerUseIPCAppshotAnimationTarget::destinationCornerRadius),
      field("destinationFrame", &ComputerUseIPCAppshotAnimationTarget::destinationFrame),
      field("destinationPrimaryTextColor",
            &ComputerUseIPCAppshotAnimationTarget::destinationPrimaryTextColor));
  bool operator==(const ComputerUseIPCAppshotAnimationTarget&) const = default;
};

struct ComputerUseIPCAppshotError {
  std::string code;
  std::string message;

  static constexpr auto fields = std::tuple(field("code", &ComputerUseIPCAppshotError::code),
                                            field("message", &ComputerUseIPCAppshotError::message));
  bool operator==(const ComputerUseIPCAppshotError&) const = default;
};

struct ComputerUseIPCAppStartFrontmostCaptureResponse {
  std::optional<ComputerUseIPCAppshotTarget> target;
  std::optional<double> transitionSnapshotHeight;
  std::optional<ComputerUseIPCAppshotError> error;

  static constexpr auto fields =
      std::tuple(field("target", &ComputerUseIPCAppStartFrontmostCaptureResponse::target),
                 field("transitionSnapshotHeight",
                       &ComputerUseIPCAppStartFrontmostCaptureResponse::transitionSnapshotHeight),
                 field("error", &ComputerUseIPCAppStartFrontmostCaptureResponse::error));
  bool operator==(const ComputerUseIPCAppStartFrontmostCaptureResponse&) const = default;
};

struct ComputerUseIPCAppStartFrontmostCaptureRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCAppStartFrontmostCaptureRequest";
  using Response = ComputerUseIPCAppStartFrontmostCaptureResponse;

  std::string requestId;
  std::optional<std::string> bundleIdentifier;
  std::optional<std::uint32_t> windowID;
  std::optional<ComputerUseIPCAppshotAnimationTarget> animationTarget;

  static constexpr auto fields =
      std::tuple(field("requestId", &ComputerUseIPCAppStartFrontmostCaptureRequest::requestId),
                 field("bundleIdentifier", &ComputerUseIPCAppStartFrontmostCaptureRequest::bundleIdentifier),
                 field("windowID", &ComputerUseIPCAppStartFrontmostCaptureRequest::windowID),
                 field("animationTarget", &ComputerUseIPCAppStartFrontmostCaptureRequest::animationTarget));
  bool operator==(const ComputerUseIPCAppStartFrontmostCaptureRequest&) const = default;
};

struct ComputerUseIPCAppshotUpdateEnvelope {
  std::string requestId;
  ComputerUseIPCAppshotCaptureUpdate update = ComputerUseIPCAppshotCaptureUpdate::heartbeat();

  static constexpr auto fields =
      std::tuple(field("requestId", &ComputerUseIPCAppshotUpdateEnvelope::requestId),
                 field("update", &ComputerUseIPCAppshotUpdateEnvelope::update));
  bool operator==(const ComputerUseIPCAppshotUpdateEnvelope&) const = default;
};

struct ComputerUseIPCAppNextCaptureUpdateRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCAppNextCaptureUpdateRequest";
  using Response = ComputerUseIPCAppshotUpdateEnvelope;

  std::string requestId;
  std::optional<std::int64_t> timeoutMs;

  static constexpr auto fields =
      std::tuple(field("requestId", &ComputerUseIPCAppNextCaptureUpdateRequest::requestId),
                 field("timeoutMs", &ComputerUseIPCAppNextCaptureUpdateRequest::timeoutMs));
  bool operator==(const ComputerUseIPCAppNextCaptureUpdateRequest&) const = default;
};

struct ComputerUseIPCAppCancelCaptureRequest {
  static constexpr std::string_view requestType = "ComputerUseIPCAppCancelCaptureRequest";
  using Response = ComputerUseIPCEmptyResponse;

  std::string requestId;

  static constexpr auto fields =
      std::tuple(field("requestId", &ComputerUseIPCAppCancelCaptureRequest::requestId));
  bool operator==(const ComputerUseIPCAppCancelCaptureRequest&) const = default;
};

}  // namespace tavik
