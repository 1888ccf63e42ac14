#pragma once

#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// A workspace in which nothing runs and nothing is installed. Tests override what
/// they need.
class EmptyWorkspace : public WorkspacePort {
 public:
  std::vector<RunningApplication> runningApplications() override { return {}; }
  std::optional<RunningApplication> runningApplication(std::int32_t) override { return std::nullopt; }
  std::optional<RunningApplication> frontmostApplication() override { return std::nullopt; }
  std::unique_ptr<FrontmostObservation> observeFrontmostApplication(
      std::function<void(const std::optional<RunningApplication>&)>) override {
    return nullptr;
  }
  void activate(std::int32_t) override {}
  std::unique_ptr<FrontmostHold> holdFrontmost(std::int32_t) override { return nullptr; }
  ApplicationLayout applicationLayout() override { return {}; }
  std::vector<DirectoryEntry> contentsOfDirectory(const std::string&) override { return {}; }
  std::optional<ApplicationBundle> bundle(const std::string&) override { return std::nullopt; }
  std::optional<std::string> urlForApplication(const std::string&) override { return std::nullopt; }
  void openApplication(const std::string&, const OpenConfiguration&, OpenCompletionHandler handler) override {
    handler("There is no application.");
  }
};

}  // namespace tavik
