#pragma once

#include <optional>
#include <string>
#include <tuple>

#include "Base/JSON/Field.h"

namespace tavik {

/// The application whose window is captured, as the host shows it.
struct ComputerUseIPCAppshotTarget {
  std::string bundleIdentifier;
  std::string name;
  std::optional<std::string> iconSmallDataURL;
  std::optional<std::string> windowTitle;

  static constexpr auto fields =
      std::tuple(field("bundleIdentifier", &ComputerUseIPCAppshotTarget::bundleIdentifier),
                 field("name", &ComputerUseIPCAppshotTarget::name),
                 field("iconSmallDataURL", &ComputerUseIPCAppshotTarget::iconSmallDataURL),
                 field("windowTitle", &ComputerUseIPCAppshotTarget::windowTitle));
  bool operator==(const ComputerUseIPCAppshotTarget&) const = default;
};

/// One piece of news about a capture. Made by the named constructors or read from
/// the wire, never filled by hand.
class ComputerUseIPCAppshotCaptureUpdate {
 public:
  static ComputerUseIPCAppshotCaptureUpdate metadata(ComputerUseIPCAppshotTarget target);
  static ComputerUseIPCAppshotCaptureUpdate axText(std::string text);
  static ComputerUseIPCAppshotCaptureUpdate screenshot(std::string dataURL);
  static ComputerUseIPCAppshotCaptureUpdate completed(std::string transitionSnapshotDataURL);
  static ComputerUseIPCAppshotCaptureUpdate failed(std::string error);
  static ComputerUseIPCAppshotCaptureUpdate heartbeat();

  /// True when no other update follows.
  bool isTerminal() const { return type_ == "completed" || type_ == "failed"; }

  const std::string& type() const { return type_; }
  const std::optional<ComputerUseIPCAppshotTarget>& target() const { return target_; }
  const std::optional<std::string>& text() const { return text_; }
  const std::optional<std::string>& screenshotDataURL() const { return screenshotDataURL_; }
  const std::optional<std::string>& transitionSnapshotDataURL() const { return transitionSnapshotDataURL_; }
  const std::optional<std::string>& error() const { return error_; }

  bool operator==(const ComputerUseIPCAppshotCaptureUpdate&) const = default;

 private:
  template <class>
  friend struct JSONCoding;

  ComputerUseIPCAppshotCaptureUpdate() = default;
  explicit ComputerUseIPCAppshotCaptureUpdate(std::string type) : type_(std::move(type)) {}

  std::string type_;
  std::optional<ComputerUseIPCAppshotTarget> target_;
  std::optional<std::string> text_;
  std::optional<std::string> screenshotDataURL_;
  std::optional<std::string> transitionSnapshotDataURL_;
  std::optional<std::string> error_;

 public:
  static constexpr auto fields = std::tuple(
      field("type", &ComputerUseIPCAppshotCaptureUpdate::type_),
      field("target", &ComputerUseIPCAppshotCaptureUpdate::target_),
      field("text", &ComputerUseIPCAppshotCaptureUpdate::text_),
      field("screenshotDataURL", &ComputerUseIPCAppshotCaptureUpdate::screenshotDataURL_),
      field("transitionSnapshotDataURL", &ComputerUseIPCAppshotCaptureUpdate::transitionSnapshotDataURL_),
      field("error", &ComputerUseIPCAppshotCaptureUpdate::error_));
};

}  // namespace tavik
