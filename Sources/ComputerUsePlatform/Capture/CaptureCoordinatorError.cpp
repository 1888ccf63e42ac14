#include "ComputerUsePlatform/Capture/CaptureCoordinatorError.h"

#include <fmt/format.h>

namespace tavik {

namespace {

std::string screenshotSkipped(const std::string& reason) {
  return "Screenshot skipped: " + reason + "; AX state returned.";
}

}  // namespace

CaptureCoordinatorError CaptureCoordinatorError::skipped(const std::string& reason) {
  return {Kind::skipped, screenshotSkipped(reason)};
}

CaptureCoordinatorError CaptureCoordinatorError::timedOut(const std::string& stage, double seconds) {
  return {Kind::timedOut, screenshotSkipped(fmt::format("{} timed out after {:.1f}s", stage, seconds))};
}

CaptureCoordinatorError CaptureCoordinatorError::unavailable(const std::string& reason) {
  return {Kind::unavailable, screenshotSkipped(reason)};
}

LoggedError CaptureCoordinatorError::loggedError() const {
  return {"CaptureCoordinatorError", "ComputerUsePlatform.CaptureCoordinatorError", static_cast<long>(kind_)};
}

}  // namespace tavik
