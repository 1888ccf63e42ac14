#include "Backends/Linux/Workspace/LinuxWorkspace.h"

#include <algorithm>

#include "Backends/Linux/Windows/X11Activation.h"
#include "Backends/Linux/Workspace/RefusedApplications.h"

namespace tavik {

namespace {

bool isApplicationWindow(const X11Window& window) {
  bool isPlain = window.type == X11WindowType::normal || window.type == X11WindowType::dialog;
  return isPlain && !window.isPopup && !window.skipsTaskbar;
}

/// The window that says most about its application: the foremost that a person
/// would call one of its windows.
const X11Window* tellingWindow(const std::vector<const X11Window*>& windows) {
  auto found = std::find_if(windows.begin(), windows.end(),
                            [](const X11Window* window) { return isApplicationWindow(*window); });
  if (found != windows.end()) return *found;
  return windows.empty() ? nullptr : windows.front();
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
  const ProgramTraits traits = traitsOfProgram(pid, window);
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

  application.refusedClass =
      refusedApplicationClass(entry ? entry->id : "", entry ? entry->categories : std::vector<std::string>(), program,
                              window != nullptr ? window->className : "");

  bool hasWindow = window != nullptr && isApplicationWindow(*window);
  // Without a window yet, or one that the X server does not know of.
  bool isListed = entry && !entry->isNoDisplay;
  bool isRegular = hasWindow || (windows.empty() && isListed);
  application.activationPolicy = isRegular ? ActivationPolicy::regular : ActivationPolicy::accessory;
  return application;
}

std::unique_ptr<FrontmostObservation> LinuxWorkspace::observeFrontmostApplication(
    std::function<void(const std::optional<RunningApplication>&)> handler) {
  return activeWindows_.observe([this, handler = std::move(handler)] { handler(frontmostApplication()); });
}

void LinuxWorkspace::activate(std::int32_t pid) {
  const auto windows = desktop_.windows().value_or(std::vector<X11Window>{});
  const auto window = std::ranges::find_if(windows, [&](const X11Window& one) {
    return one.pid == pid && one.isOnScreen() && layerOf(one) == 0;
  });
  if (window == windows.end()) return;
  desktop_.with([&](X11Session& session) {
    requestActivation(session, window->id);
    return true;
  });
}

std::unique_ptr<FrontmostHold> LinuxWorkspace::holdFrontmost(std::int32_t against) {
  return activeWindows_.hold(against);
}

ApplicationLayout LinuxWorkspace::applicationLayout() {
  ApplicationLayout layout{.pathSuffix = ".desktop", .directories = {}};
  for (const std::filesystem::path& folder : entries_.folders())
    layout.directories.push_back(folder.string());
  return layout;
}

/// By file name, then by the name in menus, then by program; of entries that start
/// the same program the one first that asks nothing else of it, so that "mousepad"
/// opens the editor and not its settings.
std::vector<DirectoryEntry> LinuxWorkspace::contentsOfDirectory(const std::string& path) {
  std::vector<DirectoryEntry> files;
  std::vector<DirectoryEntry> names;
  std::vector<DirectoryEntry> programs;
  const auto desktops = DesktopEntryIndex::currentDesktops();
  const auto entries = entries_.entries();
  for (const DesktopEntry& entry : *entries) {
    const std::filesystem::path file = entry.path;
    if (file.parent_path() != path) continue;
    files.push_back({file.filename().string(), entry.path});
    if (!isShownIn(entry, desktops)) continue;
    names.push_back({entry.name, entry.path});
    const bool isPlain = wordsOfExec(entry.exec).size() == 1;
    programs.insert(isPlain ? programs.begin() : programs.end(), {std::string(fileNameOf(entry.program)), entry.path});
  }
  files.insert(files.end(), names.begin(), names.end());
  files.insert(files.end(), programs.begin(), programs.end());
  return files;
}

std::optional<ApplicationBundle> LinuxWorkspace::bundle(const std::string& path) {
  const auto entry = entries_.entryOfPath(path);
  if (!entry) return std::nullopt;
  const std::string program(fileNameOf(entry->program));
  return ApplicationBundle{
      .bundleIdentifier = entry->id,
      .infoDictionary = {{"CFBundleName", entry->name},
                         {"CFBundleDisplayName", entry->name},
                         {"CFBundleExecutable", program},
                         {"LSUIElement", !isShownIn(*entry, DesktopEntryIndex::currentDesktops())},
                         {"LSBackgroundOnly", entry->isForTerminal}},
      .refusedClass = refusedApplicationClass(entry->id, entry->categories, program, entry->startupWMClass)};
}

std::optional<std::string> LinuxWorkspace::urlForApplication(const std::string& withBundleIdentifier) {
  const auto entry = entries_.entryOfID(withBundleIdentifier);
  return entry ? std::optional(entry->path) : std::nullopt;
}

void LinuxWorkspace::openApplication(const std::string& path, const OpenConfiguration& configuration,
                                     OpenCompletionHandler completionHandler) {
  auto entry = entries_.entryOfPath(path);
  if (!entry) return completionHandler("There is no application at " + path + ".");
  launcher_.launch(std::move(*entry), configuration.activates, std::move(completionHandler));
}

}  // namespace tavik
