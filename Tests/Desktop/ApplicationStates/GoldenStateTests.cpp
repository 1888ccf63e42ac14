#include <gmock/gmock.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>

#include "StateDesk.h"

namespace tavik {
namespace {

/// An application with content that is always the same.
struct Subject {
  /// Of the golden file.
  const char* name;
  /// FOLDER stands for the test's own folder.
  std::vector<std::string> command;
  /// How the model calls it.
  const char* app;
  /// What the state holds once the application is ready.
  const char* readyWhen;
};

void PrintTo(const Subject& subject, std::ostream* out) { *out << subject.name; }

constexpr const char* page = R"(<!doctype html><html><head><title>Order form</title></head><body>
<h1>Order form</h1><p>Please fill in <b>every</b> field.</p>
<form><label for=n>Name</label> <input id=n value="Ada" placeholder="Your name"><br>
<label><input type=checkbox checked> Gift wrap</label>
<select aria-label="Colour"><option>Red<option>Green</select>
<input type=range min=0 max=10 value=3 aria-label="Amount"><textarea aria-label="Notes">Hello world</textarea><br>
<a href="https://example.com/docs">Docs</a>
<button type=button>Send order</button><button disabled>Locked</button>
<table border=1><tr><th>Item<th>Price</tr><tr><td>Pen<td>3</tr></table><ul><li>First<li>Second</ul></form></body></html>)";

/// Without what some applications tell only to the superuser, whose lines are taken
/// out and the indices after them moved up.
std::string asAnyUser(const std::string& text) {
  std::istringstream lines(text);
  std::string result;
  int dropped = 0;
  std::map<std::string, std::string> moved;
  const std::regex indexed(R"(^(\t*)(\d+) )");
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with("text Root Instance")) {
      ++dropped;
      continue;
    }
    std::smatch match;
    if (std::regex_search(line, match, indexed)) {
      const std::string index = std::to_string(std::stoi(match[2]) - dropped);
      moved[match[2]] = index;
      line = match[1].str() + index + " " + match.suffix().str();
    }
    result += line + "\n";
  }
  std::smatch focused;
  if (std::regex_search(result, focused, std::regex(R"(The focused UI element is (\d+) )"))) {
    result = focused.prefix().str() + "The focused UI element is " + moved[focused[1]] + " " + focused.suffix().str();
  }
  return result;
}

/// What differs between machines and runs: numbers of processes, folders, the user,
/// sizes of files and of the disk, times.
std::string masked(std::string text, const std::string& folder) {
  text = asAnyUser(text);
  text = std::regex_replace(text, std::regex(" row " + std::string(getpwuid(getuid())->pw_name) + "\n"), " row USER\n");
  const std::pair<std::regex, const char*> masks[] = {
      {std::regex(R"(\(pid \d+\))"), "(pid PID)"},
      {std::regex(std::regex_replace(folder, std::regex(R"([.\-])"), "\\$&")), "FOLDER"},
      {std::regex(R"(tavik-(states|desktop)[-.]\w{6})"), "FOLDER"},
      {std::regex(R"(Free space: [^\n,]*)"), "Free space: SIZE"},
      {std::regex(R"(\d{1,2}:\d{2}(:\d{2})?( [AP]M)?)"), "TIME"},
      {std::regex(R"(\d{2,4}[-/]\d{2}[-/]\d{2,4})"), "DATE"},
  };
  for (const auto& [pattern, with] : masks) text = std::regex_replace(text, pattern, with);
  return text;
}

class GoldenState : public StateDesk, public testing::WithParamInterface<Subject> {
 protected:
  GoldenState() {
    std::ofstream(folder + "/page.html") << page;
    std::ofstream(folder + "/poem.txt") << "Roses are red\nViolets are blue\n";
    std::ofstream(folder + "/table.csv") << "Item,Price,Count\nPen,3,12\nBook,15,4\n";
    std::filesystem::create_directories(folder + "/files/Letters");
    std::ofstream(folder + "/files/shopping.txt") << "Milk\n";
    std::ofstream(folder + "/files/notes.txt") << "Call Ada\n";
  }

  std::vector<std::string> command() const {
    std::vector<std::string> command = GetParam().command;
    for (auto& word : command) word = std::regex_replace(word, std::regex("FOLDER"), folder);
    return command;
  }

  /// The state when two looks in a row say the same.
  std::string settledState() {
    std::string before;
    std::string state = stateWith(GetParam().app, GetParam().readyWhen, std::chrono::seconds(60));
    for (int i = 0; i < 20 && state != before; ++i) {
      before = state;
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      state = saidOf([&] { return textOf(look(GetParam().app)); });
    }
    return masked(state, folder);
  }
};

TEST_P(GoldenState, reads) {
  open(command());
  const std::string state = settledState();
  const std::string path = std::string(GOLDEN_FOLDER) + "/" + GetParam().name + ".txt";
  if (std::getenv("TAVIK_UPDATE_GOLDEN")) {
    std::ofstream(path) << state;
    return;
  }
  std::ifstream file(path);
  const std::string golden{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(state, golden) << "If this is better than before, review it and run again with TAVIK_UPDATE_GOLDEN=1.";
}

INSTANTIATE_TEST_SUITE_P(
    Of, GoldenState,
    testing::Values(
        Subject{"editor-gtk4", {"gnome-text-editor", "--standalone", "FOLDER/poem.txt"}, "gnome-text-editor", "Violets"},
        Subject{"editor-qt5", {"featherpad", "--standalone", "FOLDER/poem.txt"}, "featherpad", "Violets"},
        Subject{"calculator-gtk3", {"galculator"}, "galculator", "toggle button 7"},
        Subject{"calculator-qt5", {"kcalc"}, "kcalc", "button 7"},
        Subject{"settings-gtk3", {"mousepad", "--preferences"}, "mousepad", "Show line numbers"},
        Subject{"files-qt5", {"pcmanfm-qt", "FOLDER/files"}, "pcmanfm-qt", "shopping.txt"},
        Subject{"spreadsheet-gtk3", {"gnumeric", "FOLDER/table.csv"}, "gnumeric", "Sum = 0"},
        Subject{"list-gtk3", {"gtk3-demo", "--run=listbox"}, "gtk3-demo", "Gtk+ and friends"},
        Subject{"table-gtk3", {"gtk3-demo", "--run=tree_store"}, "gtk3-demo", "Holiday"},
        Subject{"browser-form",
                {"chromium", "--no-sandbox", "--force-renderer-accessibility", "--disable-quic", "--no-first-run",
                 "--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-gpu",
                 "--no-default-browser-check", "--password-store=basic", "--user-data-dir=FOLDER/profile",
                 "file://FOLDER/page.html"},
                "chromium",
                "Send order"},
        Subject{"tree-qt6", {"/usr/lib/qt6/bin/designer"}, "designer", "New Form"}),
    [](const auto& subject) {
      std::string name = subject.param.name;
      std::replace(name.begin(), name.end(), '-', '_');
      return name;
    });

}  // namespace
}  // namespace tavik
