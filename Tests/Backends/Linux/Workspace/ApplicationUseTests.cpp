#include "Backends/Linux/Workspace/ApplicationUse.h"

#include <gmock/gmock.h>

#include <fstream>

#include "Support/TemporaryFolder.h"

namespace tavik {
namespace {

using testing::IsEmpty;

const std::vector<DesktopEntry> entries = [] {
  DesktopEntry editor, viewer;
  editor.id = "org.example.editor";
  editor.program = "editor";
  viewer.id = "viewer";
  viewer.program = "/usr/bin/viewer";
  return std::vector<DesktopEntry>{editor, viewer};
}();

WallTime at(int year, unsigned month, unsigned day, int hour = 0) {
  return std::chrono::sys_days(std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day)) +
         std::chrono::hours(hour);
}

ApplicationUses usesOfDocuments(const std::string& text) {
  ApplicationUses uses;
  addUsesOfDocuments(text, entries, uses);
  return uses;
}

ApplicationUses usesOfShell(const std::string& text) {
  ApplicationUses uses;
  addUsesOfShell(text, uses);
  return uses;
}

TEST(ApplicationUse, OfDocumentsIsTheLatestDateAndTheSumOfTheCounts) {
  auto uses = usesOfDocuments(R"(<?xml version="1.0"?><xbel><bookmark href="file:///a"><info><metadata>
      <bookmark:applications>
        <bookmark:application name="Editor" exec="&apos;editor %u&apos;" modified="2026-03-05T09:15:30.5Z" count="3"/>
        <bookmark:application name="Viewer" exec="&apos;viewer %f&apos;" timestamp="1577836800" count="1"/>
      </bookmark:applications></metadata></info></bookmark>
      <bookmark:application name='Editor' exec='&apos;/usr/bin/editor %u&apos;' modified='2026-02-01T00:00:00Z'
        count='2'/></xbel>)");
  ASSERT_EQ(uses.size(), 2u);
  EXPECT_EQ(uses["org.example.editor"].lastUsed,
            at(2026, 3, 5, 9) + std::chrono::minutes(15) + std::chrono::seconds(30));
  EXPECT_EQ(uses["org.example.editor"].count, 5);
  EXPECT_EQ(uses["viewer"], (ApplicationUse{at(2020, 1, 1), 1}));
}

TEST(ApplicationUse, OfProgramsWithoutAnEntryIsNotCounted) {
  EXPECT_THAT(usesOfDocuments(R"(<bookmark:application exec="&apos;other&apos;" count="1"/>)"), IsEmpty());
}

TEST(ApplicationUse, WithUnreadableDatesAndCountsHasNone) {
  for (const char* date : {"", "yesterday", "2026-13-40T00:00:00Z", "9999-01-01T00:00:00Z"}) {
    auto uses = usesOfDocuments("<bookmark:application exec=\"editor\" modified=\"" + std::string(date) +
                                "\" timestamp=\"-5\" count=\"many\"/>");
    EXPECT_EQ(uses["org.example.editor"], ApplicationUse{}) << date;
  }
}

TEST(ApplicationUse, OfTheShellIsWhenItSawTheApplicationLast) {
  auto uses = usesOfShell(R"(<application-state><context id="">
      <application id="org.example.editor.desktop" score="17.5" last-seen="1577836800"/>
      <application id="window:3" score="1" last-seen="1577836800"/>
      <application id="viewer.desktop" score="1"/></context></application-state>)");
  ASSERT_EQ(uses.size(), 1u);
  EXPECT_EQ(uses["org.example.editor"], (ApplicationUse{at(2020, 1, 1), std::nullopt}));
}

TEST(ApplicationUse, OfBrokenFilesEndsWhereTheyBreak) {
  for (const char* text :
       {"<bookmark:application exec=\"editor", "<bookmark:application exec=>", "<bookmark:application",
        "<bookmark:application exec='editor\" count=1/>", "<", ""}) {
    EXPECT_LE(usesOfDocuments(text).size(), 1u) << text;
    EXPECT_THAT(usesOfShell(text), IsEmpty()) << text;
  }
}

TEST(ApplicationUse, IsReadFromBothFilesAndFromNoneWhereTheyAreMissing) {
  test::TemporaryFolder folder;
  const ApplicationUseFiles files{folder.path() / "recent.xbel", folder.path() / "state"};
  EXPECT_THAT(files.read(entries), IsEmpty());
  std::ofstream(files.documents)
      << R"(<bookmark:application exec="editor" timestamp="1577836800" count="2"/>)";
  std::ofstream(files.shellState)
      << R"(<application id="org.example.editor.desktop" last-seen="1577923200"/>)";
  EXPECT_EQ(files.read(entries)["org.example.editor"], (ApplicationUse{at(2020, 1, 2), 2}));
}

}  // namespace
}  // namespace tavik
