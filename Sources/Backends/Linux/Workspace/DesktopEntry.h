#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

/// What a desktop entry file says of an application.
struct DesktopEntry {
  /// The file's name without ".desktop", folders joined by "-".
  std::string id;
  std::string path;
  /// In the user's language where the entry has it.
  std::string name;
  /// The program of the Exec line, as written there: a name or a path. For a line
  /// that starts an interpreter with a script, the script.
  std::string program;
  /// The Exec line itself, with its quotes and field codes.
  std::string exec;
  /// A program without which the application is not there; a name or a path.
  std::string tryExec;
  std::string iconName;
  std::string workingFolder;
  std::string startupWMClass;
  std::vector<std::string> categories;
  /// Desktops that alone show it in menus, and those that do not.
  std::vector<std::string> onlyShowIn;
  std::vector<std::string> notShowIn;
  /// Runs inside a terminal, without a window of its own.
  bool isForTerminal = false;
  /// Is started by a call on the session bus.
  bool isDBusActivatable = false;
  /// Not for menus.
  bool isNoDisplay = false;
  /// Deleted by the user; hides entries of the same id in later folders.
  bool isHidden = false;

  bool operator==(const DesktopEntry&) const = default;
};

/// Reads the text of a desktop entry. `languages` are the user's, the best first,
/// as the keys of an entry spell them ("zh_CN", "zh"). Absent when the text is no
/// entry of an application.
std::optional<DesktopEntry> parseDesktopEntry(std::string_view text,
                                              const std::vector<std::string>& languages);

/// The user's languages from a locale's name ("de_AT.UTF-8@euro": "de_AT@euro",
/// "de_AT", "de@euro", "de"); none for "C" and "POSIX".
std::vector<std::string> languagesOfLocale(std::string_view locale);

/// The words of an Exec line, unquoted, without field codes ("%U").
std::vector<std::string> wordsOfExec(std::string_view exec);

/// The words that start the application without a file to open: name, icon and path
/// stand in the place of their field codes.
std::vector<std::string> commandOf(const DesktopEntry& entry);

/// Whether menus of these desktops (`XDG_CURRENT_DESKTOP`) show the entry.
bool isShownIn(const DesktopEntry& entry, const std::vector<std::string>& desktops);

/// The program that words of a command stand for: the first that is neither `env`,
/// an assignment, nor an interpreter with its options. Empty when there is none.
std::string programOf(const std::vector<std::string>& words);

/// The last part of a program's path.
std::string_view fileNameOf(std::string_view path);

/// Whether a program's name is that of a shell, of Python or of their like, which
/// says nothing about the application that runs in it.
bool isInterpreter(std::string_view program);

}  // namespace tavik
