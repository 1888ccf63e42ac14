#include "Backends/Linux/Workspace/DesktopEntryIndex.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <sstream>

#include "Backends/Linux/Process/ProcessFiles.h"

namespace tavik {

namespace {

namespace fs = std::filesystem;

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string lowercased(std::string text) {
  for (char& character : text)
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  return text;
}

bool equalIgnoringCase(const std::string& a, const std::string& b) {
  return lowercased(a) == lowercased(b);
}

/// "org.xfce.mousepad" names a program "mousepad".
std::string lastComponent(const std::string& id) {
  return id.substr(id.rfind('.') + 1);
}

/// Names that the program goes by, as an Exec line would spell them.
std::vector<std::string> programNames(const ProgramTraits& traits) {
  std::vector<std::string> names;
  if (!traits.executablePath.empty() && !isInterpreter(traits.executablePath))
    names.push_back(traits.executablePath);
  if (std::string program = programOf(traits.commandLine); !program.empty())
    names.push_back(std::move(program));
  return names;
}

bool startsProgram(const DesktopEntry& entry, const std::vector<std::string>& names) {
  return !entry.program.empty() && std::any_of(names.begin(), names.end(), [&](const std::string& name) {
    // With a path on both sides, another folder is another program.
    bool bothArePaths = entry.program.front() == '/' && name.front() == '/';
    std::error_code error;
    if (bothArePaths && fs::weakly_canonical(entry.program, error) == fs::weakly_canonical(name, error))
      return true;
    return fileNameOf(entry.program) == fileNameOf(name);
  });
}

}  // namespace

const DesktopEntry* matchDesktopEntry(const std::vector<DesktopEntry>& entries, const ProgramTraits& traits) {
  auto isNamed = [](const std::string& name, auto fits) {
    return [&name, fits](const DesktopEntry& entry) { return !name.empty() && fits(entry, name); };
  };
  auto idIs = [](const DesktopEntry& entry, const std::string& name) { return entry.id == name; };
  auto classIs = [](const DesktopEntry& entry, const std::string& name) {
    return equalIgnoringCase(entry.startupWMClass, name);
  };
  auto idResembles = [](const DesktopEntry& entry, const std::string& name) {
    return equalIgnoringCase(entry.id, name);
  };
  auto idEndsWith = [](const DesktopEntry& entry, const std::string& name) {
    return equalIgnoringCase(lastComponent(entry.id), name);
  };
  const std::vector<std::string> names = programNames(traits);

  const std::function<bool(const DesktopEntry&)> ways[] = {
      isNamed(traits.gtkApplicationID, idIs),
      isNamed(traits.windowClass, classIs),
      isNamed(traits.windowInstance, classIs),
      isNamed(traits.windowClass, idResembles),
      isNamed(traits.windowInstance, idResembles),
      isNamed(traits.windowClass, idEndsWith),
      [&](const DesktopEntry& entry) { return startsProgram(entry, names); },
      isNamed(traits.windowInstance, idEndsWith),
  };
  for (const auto& fits : ways) {
    const DesktopEntry* unlisted = nullptr;
    for (const DesktopEntry& entry : entries) {
      if (!fits(entry)) continue;
      if (!entry.isNoDisplay) return &entry;
      if (unlisted == nullptr) unlisted = &entry;
    }
    if (unlisted != nullptr) return unlisted;
  }
  return nullptr;
}

ProgramTraits traitsOfProgram(std::int32_t pid, const X11Window* window) {
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

DesktopEntryIndex::DesktopEntryIndex(std::vector<fs::path> folders, std::vector<std::string> languages)
    : folders_(std::move(folders)), languages_(std::move(languages)) {}

std::vector<fs::path> DesktopEntryIndex::applicationFolders() {
  std::vector<fs::path> folders;
  std::string home = environment("XDG_DATA_HOME");
  folders.push_back((home.empty() ? fs::path(environment("HOME")) / ".local/share" : fs::path(home)) /
                    "applications");
  std::string shared = environment("XDG_DATA_DIRS");
  std::istringstream list(shared.empty() ? "/usr/local/share:/usr/share" : shared);
  for (std::string folder; std::getline(list, folder, ':');) {
    if (!folder.empty()) folders.push_back(fs::path(folder) / "applications");
  }
  return folders;
}

std::vector<std::string> DesktopEntryIndex::userLanguages() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (std::string locale = environment(name); !locale.empty()) return languagesOfLocale(locale);
  }
  return {};
}

std::vector<std::string> DesktopEntryIndex::currentDesktops() {
  std::vector<std::string> desktops;
  std::istringstream list(environment("XDG_CURRENT_DESKTOP"));
  for (std::string desktop; std::getline(list, desktop, ':');) {
    if (!desktop.empty()) desktops.push_back(desktop);
  }
  return desktops;
}

std::optional<DesktopEntry> DesktopEntryIndex::entryOfID(std::string id) {
  constexpr std::string_view suffix = ".desktop";
  if (id.ends_with(suffix)) id.resize(id.size() - suffix.size());
  const auto all = entries();
  auto found =
      std::find_if(all->begin(), all->end(), [&](const DesktopEntry& entry) { return entry.id == id; });
  if (found == all->end()) {
    found = std::find_if(all->begin(), all->end(),
                         [&](const DesktopEntry& entry) { return equalIgnoringCase(entry.id, id); });
  }
  return found == all->end() ? std::nullopt : std::optional(*found);
}

std::optional<DesktopEntry> DesktopEntryIndex::entryOfPath(const std::string& path) {
  const auto all = entries();
  auto found =
      std::find_if(all->begin(), all->end(), [&](const DesktopEntry& entry) { return entry.path == path; });
  return found == all->end() ? std::nullopt : std::optional(*found);
}

void DesktopEntryIndex::beginWatched() {
  std::lock_guard lock(mutex_);
  isWatched_ = true;
}

void DesktopEntryIndex::endWatched() {
  std::lock_guard lock(mutex_);
  isWatched_ = false;
}

std::shared_ptr<const std::vector<DesktopEntry>> DesktopEntryIndex::reload() {
  FolderTimes times = readFolderTimes();
  auto read = std::make_shared<const std::vector<DesktopEntry>>(readEntries());
  std::lock_guard lock(mutex_);
  folderTimes_ = std::move(times);
  return entries_ = std::move(read);
}

std::shared_ptr<const std::vector<DesktopEntry>> DesktopEntryIndex::entries() {
  {
    std::lock_guard lock(mutex_);
    if (isWatched_ && entries_ != nullptr) return entries_;
  }
  FolderTimes times = readFolderTimes();
  std::lock_guard lock(mutex_);
  if (entries_ == nullptr || times != folderTimes_) {
    entries_ = std::make_shared<const std::vector<DesktopEntry>>(readEntries());
    folderTimes_ = std::move(times);
  }
  return entries_;
}

/// A folder's time changes when an entry comes or goes; package managers replace
/// whole files.
DesktopEntryIndex::FolderTimes DesktopEntryIndex::readFolderTimes() const {
  FolderTimes times;
  std::error_code error;
  auto note = [&](const fs::path& folder) {
    auto time = fs::last_write_time(folder, error);
    if (!error) times.emplace_back(folder, time);
  };
  for (const fs::path& folder : folders_) {
    note(folder);
    for (fs::recursive_directory_iterator item(folder, fs::directory_options::skip_permission_denied, error),
         end;
         !error && item != end; item.increment(error)) {
      if (item->is_directory(error)) note(item->path());
    }
  }
  return times;
}

std::vector<DesktopEntry> DesktopEntryIndex::readEntries() const {
  std::vector<DesktopEntry> result;
  std::set<std::string> seen;
  for (const fs::path& folder : folders_) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::recursive_directory_iterator item(folder, fs::directory_options::skip_permission_denied, error),
         end;
         !error && item != end; item.increment(error)) {
      if (item->path().extension() == ".desktop") files.push_back(item->path());
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
      std::string id = file.lexically_relative(folder).replace_extension().string();
      std::replace(id.begin(), id.end(), '/', '-');
      if (!seen.insert(id).second) continue;
      std::ifstream stream(file);
      std::string text(std::istreambuf_iterator<char>(stream), {});
      std::optional<DesktopEntry> entry = parseDesktopEntry(text, languages_);
      if (!entry || entry->isHidden) continue;
      entry->id = std::move(id);
      entry->path = file.string();
      result.push_back(std::move(*entry));
    }
  }
  return result;
}

}  // namespace tavik
