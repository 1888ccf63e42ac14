#include "Backends/Simulated/Screen/SimulatedWorkspace.h"

#include <algorithm>
#include <utility>

namespace tavik {

class SimulatedWorkspace::Observation : public FrontmostObservation {
 public:
  Observation(SimulatedWorkspace& workspace, std::shared_ptr<FrontmostHandler> handler)
      : workspace_(workspace), handler_(std::move(handler)) {}
  ~Observation() override {
    MutexLock lock(workspace_.mutex_);
    std::erase(workspace_.frontmostHandlers_, handler_);
  }

 private:
  SimulatedWorkspace& workspace_;
  const std::shared_ptr<FrontmostHandler> handler_;
};

SimulatedWorkspace::SimulatedWorkspace(ElementModel& model, Journal& journal, MainQueue& mainQueue)
    : model_(model), journal_(journal), mainQueue_(mainQueue) {
  model.setFrontmostChanged([this] { announceFrontmost(); });
}

void SimulatedWorkspace::install(InstalledApplication application) {
  MutexLock lock(mutex_);
  installed_.push_back(std::move(application));
}

std::vector<RunningApplication> SimulatedWorkspace::runningApplications() {
  requireNoLockHeld("runningApplications");
  return model_.look([&] {
    std::vector<RunningApplication> running;
    for (const auto& application : model_.applicationsLocked()) {
      if (application->isRunning) running.push_back(application->record);
    }
    return running;
  });
}

std::optional<RunningApplication> SimulatedWorkspace::runningApplication(std::int32_t pid) {
  requireNoLockHeld("runningApplication");
  return model_.look([&] {
    ApplicationNode* application = model_.runningApplicationLocked(pid);
    return application ? std::optional(application->record) : std::nullopt;
  });
}

std::optional<RunningApplication> SimulatedWorkspace::frontmostApplication() {
  requireNoLockHeld("frontmostApplication");
  return model_.look([&] {
    ApplicationNode* application = model_.frontmostLocked();
    return application ? std::optional(application->record) : std::nullopt;
  });
}

std::unique_ptr<FrontmostObservation> SimulatedWorkspace::observeFrontmostApplication(FrontmostHandler handler) {
  MutexLock lock(mutex_);
  frontmostHandlers_.push_back(std::make_shared<FrontmostHandler>(std::move(handler)));
  return std::make_unique<Observation>(*this, frontmostHandlers_.back());
}

void SimulatedWorkspace::announceFrontmost() {
  std::vector<std::shared_ptr<FrontmostHandler>> handlers;
  {
    MutexLock lock(mutex_);
    handlers = frontmostHandlers_;
  }
  const auto frontmost = frontmostApplication();
  for (const auto& handler : handlers) (*handler)(frontmost);
}

void SimulatedWorkspace::activate(std::int32_t pid) {
  requireNoLockHeld("activate");
  journal_.record({.time = {}, .kind = "activate", .pid = pid, .subject = {}, .name = {}, .value = {}});
  model_.change([&](ElementEffects& effects) {
    if (ApplicationNode* application = model_.runningApplicationLocked(pid)) model_.activateLocked(application, effects);
  });
}

/// Simulated applications take the front only when a test lets them.
std::unique_ptr<FrontmostHold> SimulatedWorkspace::holdFrontmost(std::int32_t against) {
  journal_.note("hold", "front against " + std::to_string(against));
  return nullptr;
}

ApplicationLayout SimulatedWorkspace::applicationLayout() {
  return {.pathSuffix = ".app",
          .directories = {"/Applications", "/System/Applications", "/System/Applications/Utilities",
                          "/Users/simulated/Applications"}};
}

std::vector<DirectoryEntry> SimulatedWorkspace::contentsOfDirectory(const std::string& path) {
  requireNoLockHeld("contentsOfDirectory");
  MutexLock lock(mutex_);
  std::vector<DirectoryEntry> entries;
  for (const InstalledApplication& application : installed_) {
    const std::size_t slash = application.path.rfind('/');
    if (slash != std::string::npos && application.path.substr(0, slash) == path) {
      entries.push_back({application.path.substr(slash + 1), application.path});
    }
  }
  return entries;
}

std::optional<ApplicationBundle> SimulatedWorkspace::bundle(const std::string& path) {
  requireNoLockHeld("bundle");
  const auto application = installed(path);
  return application ? std::optional(application->bundle) : std::nullopt;
}

std::optional<std::string> SimulatedWorkspace::urlForApplication(const std::string& withBundleIdentifier) {
  requireNoLockHeld("urlForApplication");
  MutexLock lock(mutex_);
  for (const InstalledApplication& application : installed_) {
    if (application.bundle.bundleIdentifier == withBundleIdentifier) return application.path;
  }
  return std::nullopt;
}

void SimulatedWorkspace::openApplication(const std::string& path, const OpenConfiguration& configuration,
                                         OpenCompletionHandler completionHandler) {
  requireNoLockHeld("openApplication");
  JournalEntry launch;
  launch.kind = "launch";
  launch.subject = path;
  launch.name = std::string(configuration.activates ? "in front" : "in the background") +
                (configuration.addsToRecentItems ? ", remembered" : ", not remembered");
  journal_.record(std::move(launch));
  mainQueue_.async([application = installed(path), handler = std::move(completionHandler)] {
    if (!application) return handler("The file doesn’t exist.");
    handler(application->launchError);
    if (!application->launchError && application->whenLaunched) application->whenLaunched();
  });
}

std::optional<InstalledApplication> SimulatedWorkspace::installed(const std::string& path) {
  MutexLock lock(mutex_);
  const auto found = std::find_if(installed_.begin(), installed_.end(),
                                  [&](const InstalledApplication& one) { return one.path == path; });
  return found == installed_.end() ? std::nullopt : std::optional(*found);
}

}  // namespace tavik
