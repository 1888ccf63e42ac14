#include "Backends/Linux/Workspace/DesktopEntryIndex.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <fstream>

#include "Support/TemporaryFolder.h"

namespace tavik {
namespace {

namespace fs = std::filesystem;

DesktopEntry entry(std::string id, std::string program, std::string startupWMClass = "") {
  DesktopEntry result;
  result.id = std::move(id);
  result.name = result.id;
  result.program = std::move(program);
  result.startupWMClass = std::move(startupWMClass);
  return result;
}

std::string match(const std::vector<DesktopEntry>& entries, const ProgramTraits& traits) {
  const DesktopEntry* found = matchDesktopEntry(entries, traits);
  return found != nullptr ? found->id : "";
}

ProgramTraits program(std::string path) {
  ProgramTraits traits;
  traits.executablePath = path;
  traits.commandLine = {std::move(path)};
  return traits;
}

ProgramTraits window(std::string className, std::string instance = "") {
  ProgramTraits traits = program("/usr/bin/unknown");
  traits.windowClass = std::move(className);
  traits.windowInstance = std::move(instance);
  return traits;
}

TEST(DesktopEntryMatch, PrefersTheNameOnTheSessionBus) {
  ProgramTraits traits = window("Editor");
  traits.gtkApplicationID = "org.gnome.TextEditor";
  EXPECT_EQ(match({entry("editor", "editor", "Editor"), entry("org.gnome.TextEditor", "gnome-text-editor")},
                  traits),
            "org.gnome.TextEditor");
}

TEST(DesktopEntryMatch, TakesTheDeclaredWindowClassBeforeASimilarName) {
  EXPECT_EQ(match({entry("code", "code"), entry("com.visualstudio.code", "code", "Code")}, window("Code")),
            "com.visualstudio.code");
}

TEST(DesktopEntryMatch, TellsWebApplicationsOfABrowserApartByTheirInstance) {
  std::vector<DesktopEntry> entries{entry("chromium", "/usr/bin/chromium", "chromium"),
                                    entry("chrome-mail-Default", "/usr/bin/chromium", "crx_mail")};
  EXPECT_EQ(match(entries, window("Chromium", "chromium")), "chromium");
  EXPECT_EQ(match(entries, window("Chromium-browser", "crx_mail")), "chrome-mail-Default");
}

TEST(DesktopEntryMatch, ReadsTheClassAsTheLastPartOfAnIdentifier) {
  EXPECT_EQ(match({entry("org.xfce.mousepad-settings", "mousepad"), entry("org.xfce.mousepad", "mousepad")},
                  window("Mousepad", "mousepad")),
            "org.xfce.mousepad");
}

TEST(DesktopEntryMatch, FallsBackToTheProgramThatTheEntryStarts) {
  EXPECT_EQ(match({entry("galculator", "galculator")}, program("/usr/bin/galculator")), "galculator");
  EXPECT_EQ(match({entry("galculator", "galculator")}, program("/usr/bin/gcalctool")), "");
}

TEST(DesktopEntryMatch, KnowsAScriptByItsFileAndNotByItsInterpreter) {
  std::vector<DesktopEntry> entries{entry("python3.11", "/usr/bin/python3.11"),
                                    entry("terminator", "terminator")};
  ProgramTraits script = program("/usr/bin/python3.11");
  script.commandLine = {"/usr/bin/python3", "/usr/bin/terminator"};
  EXPECT_EQ(match(entries, script), "terminator");
  script.commandLine = {"/usr/bin/python3", "/home/me/tool.py"};
  EXPECT_EQ(match(entries, script), "");
}

TEST(DesktopEntryMatch, TakesEntriesOutsideOfMenusOnlyWhenNoOtherFits) {
  DesktopEntry unlisted = entry("helper", "suite");
  unlisted.isNoDisplay = true;
  EXPECT_EQ(match({unlisted, entry("suite-writer", "suite")}, program("/opt/suite")), "suite-writer");
  EXPECT_EQ(match({unlisted}, program("/opt/suite")), "helper");
}

TEST(DesktopEntryMatch, OfNothingKnownIsNone) {
  EXPECT_EQ(match({entry("a", ""), entry("", "")}, ProgramTraits{}), "");
}

class DesktopEntryFolders : public testing::Test {
 protected:
  void write(const fs::path& file, const std::string& name, const std::string& more = "") {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << "[Desktop Entry]\nType=Application\nName=" << name << "\nExec=" << name << "\n"
                        << more;
  }

  DesktopEntry entryOf(const std::string& id) {
    auto entries = index.entries();
    for (const DesktopEntry& candidate : *entries) {
      if (candidate.id == id) return candidate;
    }
    return {};
  }
  std::string nameOf(const std::string& id) { return entryOf(id).name; }

  test::TemporaryFolder temporary;
  const fs::path mine = temporary.path() / "mine";
  const fs::path shared = temporary.path() / "shared";
  DesktopEntryIndex index{{mine, shared}, {}};
};

TEST_F(DesktopEntryFolders, EarlierFolderHidesTheSameIdentifierInALaterOne) {
  write(mine / "editor.desktop", "mine");
  write(shared / "editor.desktop", "shared");
  write(shared / "viewer.desktop", "viewer");
  EXPECT_EQ(nameOf("editor"), "mine");
  EXPECT_EQ(nameOf("viewer"), "viewer");
  EXPECT_EQ(entryOf("viewer").path, (shared / "viewer.desktop").string());
}

TEST_F(DesktopEntryFolders, DeletedEntryHidesTheOneBelow) {
  write(mine / "editor.desktop", "mine", "Hidden=true\n");
  write(shared / "editor.desktop", "shared");
  EXPECT_EQ(nameOf("editor"), "");
}

TEST_F(DesktopEntryFolders, FoldersBelowBelongToTheIdentifier) {
  write(shared / "kde4" / "tool.desktop", "tool");
  EXPECT_EQ(nameOf("kde4-tool"), "tool");
}

TEST_F(DesktopEntryFolders, NewAndRemovedEntriesAreNoticed) {
  EXPECT_TRUE(index.entries()->empty());
  write(shared / "editor.desktop", "editor");
  EXPECT_EQ(nameOf("editor"), "editor");
  fs::remove(shared / "editor.desktop");
  // The clock of a file system may be coarse.
  fs::last_write_time(shared, fs::last_write_time(shared) + std::chrono::seconds(2));
  EXPECT_EQ(nameOf("editor"), "");
}

}  // namespace
}  // namespace tavik
