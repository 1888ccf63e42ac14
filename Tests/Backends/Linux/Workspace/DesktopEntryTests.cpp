#include "Backends/Linux/Workspace/DesktopEntry.h"

#include <gmock/gmock.h>

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(DesktopEntry, IsReadFromItsGroupOnly) {
  auto entry = parseDesktopEntry(
      "# comment\n"
      "[Desktop Entry]\n"
      "Type=Application\n"
      "Name = Text\\sEditor\n"
      "Exec=/usr/bin/editor --new %U\n"
      "StartupWMClass=Editor\n"
      "Categories=Utility;TextEditor;\n"
      "\n"
      "[Desktop Action new]\n"
      "Name=New Window\n"
      "Exec=other\n",
      {});
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->name, "Text Editor");
  EXPECT_EQ(entry->program, "/usr/bin/editor");
  EXPECT_EQ(entry->startupWMClass, "Editor");
  EXPECT_THAT(entry->categories, ElementsAre("Utility", "TextEditor"));
  EXPECT_FALSE(entry->isNoDisplay);
}

TEST(DesktopEntry, HasTheNameInTheUsersBestLanguage) {
  const char* text =
      "[Desktop Entry]\r\nType=Application\r\nName=Files\r\nName[de]=Dateien\r\nName[de_AT]=Ordner\r\n";
  EXPECT_EQ(parseDesktopEntry(text, {})->name, "Files");
  EXPECT_EQ(parseDesktopEntry(text, {"de_CH", "de"})->name, "Dateien");
  EXPECT_EQ(parseDesktopEntry(text, {"de_AT", "de"})->name, "Ordner");
  EXPECT_EQ(parseDesktopEntry(text, {"fr"})->name, "Files");
}

TEST(DesktopEntry, OfALinkOrOfNothingIsNone) {
  EXPECT_FALSE(parseDesktopEntry("[Desktop Entry]\nType=Link\nName=Web\n", {}));
  EXPECT_FALSE(parseDesktopEntry("", {}));
  EXPECT_FALSE(parseDesktopEntry("\x01\x02 garbage = [", {}));
}

TEST(DesktopEntry, SaysWhenItIsHidden) {
  EXPECT_TRUE(parseDesktopEntry("[Desktop Entry]\nHidden=true\n", {})->isHidden);
  EXPECT_TRUE(parseDesktopEntry("[Desktop Entry]\nType=Application\nNoDisplay=true\n", {})->isNoDisplay);
}

TEST(LanguagesOfLocale, AreTheBestFirst) {
  EXPECT_THAT(languagesOfLocale("de_AT.UTF-8@euro"), ElementsAre("de_AT@euro", "de_AT", "de@euro", "de"));
  EXPECT_THAT(languagesOfLocale("zh_CN.UTF-8"), ElementsAre("zh_CN", "zh"));
  EXPECT_THAT(languagesOfLocale("fr"), ElementsAre("fr"));
  EXPECT_THAT(languagesOfLocale("C.UTF-8"), IsEmpty());
  EXPECT_THAT(languagesOfLocale("POSIX"), IsEmpty());
  EXPECT_THAT(languagesOfLocale(""), IsEmpty());
}

TEST(WordsOfExec, AreUnquotedAndWithoutFieldCodes) {
  EXPECT_THAT(wordsOfExec("editor --new %U"), ElementsAre("editor", "--new"));
  EXPECT_THAT(wordsOfExec("\"/opt/My App/run\" --name=\"a \\\"b\\\"\" 100%%"),
              ElementsAre("/opt/My App/run", "--name=a \"b\"", "100%"));
  EXPECT_THAT(wordsOfExec("   "), IsEmpty());
  EXPECT_THAT(wordsOfExec("run \"\""), ElementsAre("run", ""));
}

TEST(ProgramOf, LooksThroughWhatOnlyStartsAProgram) {
  EXPECT_EQ(programOf({"mousepad"}), "mousepad");
  EXPECT_EQ(programOf({"env", "GDK_BACKEND=x11", "mousepad"}), "mousepad");
  EXPECT_EQ(programOf({"/usr/bin/env", "python3", "/usr/share/app/main.py"}), "/usr/share/app/main.py");
  EXPECT_EQ(programOf({"/usr/bin/python3.11", "-u", "/usr/bin/terminator"}), "/usr/bin/terminator");
  EXPECT_EQ(programOf({"sh", "-c", "exec something"}), "sh");
  EXPECT_EQ(programOf({"python3", "-m", "http.server"}), "python3");
  EXPECT_EQ(programOf({"bash"}), "bash");
  EXPECT_EQ(programOf({}), "");
}

TEST(Interpreter, IsKnownByNameWithItsVersion) {
  EXPECT_TRUE(isInterpreter("/usr/bin/python3.11"));
  EXPECT_TRUE(isInterpreter("electron28"));
  EXPECT_TRUE(isInterpreter("bash"));
  EXPECT_FALSE(isInterpreter("pythonista"));
  EXPECT_FALSE(isInterpreter("mousepad"));
  EXPECT_FALSE(isInterpreter(""));
}

std::vector<std::string> commandOfLine(const std::string& exec, const std::string& icon = "") {
  DesktopEntry entry;
  entry.exec = exec;
  entry.iconName = icon;
  entry.name = "My Editor";
  entry.path = "/usr/share/applications/editor.desktop";
  return commandOf(entry);
}

TEST(DesktopEntryCommand, HasNoFilesToOpen) {
  using Words = std::vector<std::string>;
  for (const char* exec : {"editor %f", "editor %F", "editor %u", "editor %U", "editor %d %n %v %m"}) {
    EXPECT_EQ(commandOfLine(exec), Words{"editor"}) << exec;
  }
}

TEST(DesktopEntryCommand, HasNameIconAndPathInThePlaceOfTheirCodes) {
  using Words = std::vector<std::string>;
  EXPECT_EQ(commandOfLine("editor --title %c --entry=%k 100%%"),
            (Words{"editor", "--title", "My Editor", "--entry=/usr/share/applications/editor.desktop", "100%"}));
  EXPECT_EQ(commandOfLine("editor %i -x", "pen"), (Words{"editor", "--icon", "pen", "-x"}));
  EXPECT_EQ(commandOfLine("editor %i -x"), (Words{"editor", "-x"}));
}

TEST(DesktopEntryCommand, IsSplitWithoutAShell) {
  EXPECT_EQ(commandOfLine(R"("/opt/My Editor/run" "a \"b\" \$HOME" $HOME ; rm)"),
            (std::vector<std::string>{"/opt/My Editor/run", "a \"b\" $HOME", "$HOME", ";", "rm"}));
}

TEST(DesktopEntryMenus, ShowItOnTheDesktopsThatItNames) {
  auto shown = [](const std::string& keys, const std::vector<std::string>& desktops) {
    return isShownIn(*parseDesktopEntry("[Desktop Entry]\nType=Application\nName=x\n" + keys, {}), desktops);
  };
  EXPECT_TRUE(shown("", {}));
  EXPECT_FALSE(shown("NoDisplay=true", {}));
  EXPECT_TRUE(shown("OnlyShowIn=GNOME;XFCE;", {"ubuntu", "GNOME"}));
  EXPECT_FALSE(shown("OnlyShowIn=GNOME;", {"KDE"}));
  EXPECT_FALSE(shown("OnlyShowIn=GNOME;", {}));
  EXPECT_FALSE(shown("NotShowIn=KDE;", {"KDE"}));
  EXPECT_TRUE(shown("NotShowIn=KDE;", {"GNOME"}));
}

TEST(DesktopEntry, SaysHowItIsStarted) {
  auto entry = parseDesktopEntry(
      "[Desktop Entry]\nType=Application\nName=x\nExec=run %U\nTryExec=run\nPath=/opt\nTerminal=true\n"
      "DBusActivatable=true\nIcon=pen\n",
      {});
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->exec, "run %U");
  EXPECT_EQ(entry->tryExec, "run");
  EXPECT_EQ(entry->workingFolder, "/opt");
  EXPECT_EQ(entry->iconName, "pen");
  EXPECT_TRUE(entry->isForTerminal);
  EXPECT_TRUE(entry->isDBusActivatable);
}

}  // namespace
}  // namespace tavik
