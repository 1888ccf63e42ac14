#include "Backends/Linux/Workspace/LinuxWorkspace.h"

#include <algorithm>
#include <cstdlib>

#include "Backends/Linux/Process/ProcessFiles.h"

namespace tavik {

namespace {

bool isApplicationWindow(const X11Window& window) {
  bool isPlain = window.type == X11WindowType::normal || window.type == X11WindowType::dialog;
  return isPlain && !window.isPopup && !window.skipsTaskbar;
}

/// Windows of a Wayland session do not show on the X server.
bool hasInvisibleWindows() {
  return std::getenv("WAYLAND_DISPLAY") != nullptr;
}

/// The window that says most about its application: the foremost that a person
/// would call one of its windows.
const X11Window* tellingWindow(const std::vector<const X11Window*>& windows) {
  auto found = std::find_if(windows.begin(), windows.end(),
                            [](const X11Window* window) { return isApplicationWindow(*window); });
  if (found != windows.end()) return *found;
  return windows.empty() ? nullptr : windows.front();
}

ProgramTraits traitsOf(std::int32_t pid, const X11Window* window) {
  ProgramTraits traits;
  traits.executablePath = executablePathOf(pid).value_or("");
  traits.commandLine = commandLineOf(pid);
  if (window != nullptr) {
    traits.gtkApplicationID = window->gtkApplicationID;
    traits.windowClass = window->className;
    traits.windowInstance = window->instanceName;
  }
  return traits;
}

/// The name of the program itself; for a script the name of the script.
std::string programNameOf(const ProgramTraits& traits) {
  if (isInterpreter(traits.executablePath) || traits.executablePath.empty()) {
    if (std::string program = programOf(traits.commandLine); !program.empty()) {
      return std::string(fileNameOf(program));
    }
  }
  return std::string(fileNameOf(traits.executablePath));
}

}  // namespace

/// What all answers are made of, as it was at one moment.
struct LinuxWorkspace::Survey {
  std::vector<X11Window> windows;
  /// Of processes with windows first, from front to back.
  std::vector<std::int32_t> pids;
  std::shared_ptr<const std::vector<DesktopEntry>> entries;
};

std::vector<RunningApplication> LinuxWorkspace::runningApplications() {
  const Survey survey = look();
  std::vector<RunningApplication> applications;
  for (std::int32_t pid : survey.pids) applications.push_back(describe(pid, survey));
  return applications;
}

std::optional<RunningApplication> LinuxWorkspace::runningApplication(std::int32_t pid) {
  const Survey survey = look();
  if (std::find(survey.pids.begin(), survey.pids.end(), pid) == survey.pids.end()) return std::nullopt;
  return describe(pid, survey);
}

std::optional<RunningApplication> LinuxWorkspace::frontmostApplication() {
  std::optional<xcb_window_t> active = desktop_.activeWindow();
  if (!active || *active == XCB_NONE) return std::nullopt;
  const Survey survey = look();
  for (const X11Window& window : survey.windows) {
    if (window.id == *active && window.pid > 0) return describe(window.pid, survey);
  }
  return std::nullopt;
}

LinuxWorkspace::Survey LinuxWorkspace::look() {
  Survey survey;
  survey.windows = desktop_.windows().value_or(std::vector<X11Window>{});
  survey.entries = entries_.entries();
  auto add = [&](std::int32_t pid) {
    if (pid < 1 || std::find(survey.pids.begin(), survey.pids.end(), pid) != survey.pids.end()) return;
    survey.pids.push_back(pid);
  };
  for (const X11Window& window : survey.windows) add(window.pid);
  for (std::int32_t pid : accessibleProcesses_()) add(pid);
  return survey;
}

RunningApplication LinuxWorkspace::describe(std::int32_t pid, const Survey& survey) {
  std::vector<const X11Window*> windows;
  for (const X11Window& window : survey.windows) {
    if (window.pid == pid) windows.push_back(&window);
  }
  const X11Window* window = tellingWindow(windows);
  const ProgramTraits traits = traitsOf(pid, window);
  const std::string program = programNameOf(traits);
  const DesktopEntry* entry = matchDesktopEntry(*survey.entries, traits);

  RunningApplication application;
  application.pid = pid;
  if (!traits.executablePath.empty()) application.executablePath = traits.executablePath;
  if (entry) {
    application.bundleIdentifier = entry->id;
    application.bundlePath = entry->path;
  } else if (!program.empty()) {
    application.bundleIdentifier = program;
  }
  std::string name = entry ? entry->name : window != nullptr ? window->className : "";
  if (name.empty()) name = program;
  if (!name.empty()) {
    application.localizedName = name;
    application.infoDictionary["CFBundleName"] = name;
    application.infoDictionary["CFBundleDisplayName"] = name;
  }
  if (!program.empty()) application.infoDictionary["CFBundleExecutable"] = program;

  bool hasWindow = window != nullptr && isApplicationWindow(*window);
  bool isListed = entry && !entry->isNoDisplay;
  bool isRegular = hasWindow || (windows.empty() && hasInvisibleWindows() && isListed);
  application.activationPolicy = isRegular ? ActivationPolicy::regular : ActivationPolicy::accessory;
  return application;
}

}  // namespace tavik
