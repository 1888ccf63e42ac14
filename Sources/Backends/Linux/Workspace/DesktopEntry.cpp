#include "Backends/Linux/Workspace/DesktopEntry.h"

#include <algorithm>
#include <functional>
#include <map>

namespace tavik {

namespace {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r";
  std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string unescaped(std::string_view value) {
  std::string result;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '\\' || i + 1 == value.size()) {
      result += value[i];
      continue;
    }
    switch (value[++i]) {
      case 's':
        result += ' ';
        break;
      case 'n':
        result += '\n';
        break;
      case 't':
        result += '\t';
        break;
      case 'r':
        result += '\r';
        break;
      default:
        result += value[i];
        break;
    }
  }
  return result;
}

/// The keys of the group [Desktop Entry].
std::map<std::string, std::string, std::less<>> readEntryGroup(std::string_view text) {
  std::map<std::string, std::string, std::less<>> values;
  bool isInside = false;
  while (!text.empty()) {
    std::size_t end = text.find('\n');
    std::string_view line = trimmed(text.substr(0, end));
    text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    if (line.empty() || line.front() == '#') continue;
    if (line.front() == '[') {
      isInside = line == "[Desktop Entry]";
      continue;
    }
    std::size_t equals = line.find('=');
    if (!isInside || equals == std::string_view::npos) continue;
    values.emplace(trimmed(line.substr(0, equals)), unescaped(trimmed(line.substr(equals + 1))));
  }
  return values;
}

std::vector<std::string> listItems(const std::string& value) {
  std::vector<std::string> items;
  std::size_t start = 0;
  while (start < value.size()) {
    std::size_t end = std::min(value.find(';', start), value.size());
    if (end > start) items.push_back(value.substr(start, end - start));
    start = end + 1;
  }
  return items;
}

/// Splits an Exec line into words and puts in the place of each field code the words
/// that `expansion` gives for its letter; the first joins what stands before it.
std::vector<std::string> expandedWords(std::string_view exec,
                                       const std::function<std::vector<std::string>(char)>& expansion) {
  std::vector<std::string> words;
  std::string word;
  bool isInWord = false, isQuoted = false;
  auto finish = [&] {
    if (isInWord) words.push_back(std::move(word));
    word.clear();
    isInWord = false;
  };
  auto append = [&](std::string_view text) {
    word += text;
    isInWord = true;
  };
  for (std::size_t i = 0; i < exec.size(); ++i) {
    char character = exec[i];
    bool hasNext = i + 1 < exec.size();
    if (character == '"') {
      isQuoted = !isQuoted;
      isInWord = true;
    } else if (isQuoted && character == '\\' && hasNext) {
      word += exec[++i];
    } else if (!isQuoted && (character == ' ' || character == '\t')) {
      finish();
    } else if (character == '%' && hasNext) {
      char code = exec[++i];
      // "%%" is a percent sign; every other code stands for words or for nothing.
      std::vector<std::string> expanded = code == '%' ? std::vector<std::string>{"%"} : expansion(code);
      for (std::size_t part = 0; part < expanded.size(); ++part) {
        if (part > 0) finish();
        append(expanded[part]);
      }
    } else {
      append({&character, 1});
    }
  }
  finish();
  return words;
}

bool isAssignment(std::string_view word) {
  std::size_t equals = word.find('=');
  return equals != std::string_view::npos && word.substr(0, equals).find('/') == std::string_view::npos;
}

}  // namespace

std::string_view fileNameOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

bool isInterpreter(std::string_view program) {
  std::string_view name = fileNameOf(program);
  // Versions belong to the name: "python3.11".
  for (std::string_view versioned : {"python", "electron"}) {
    if (!name.starts_with(versioned)) continue;
    return name.substr(versioned.size()).find_first_not_of("0123456789.") == std::string_view::npos;
  }
  constexpr std::string_view names[] = {"sh",  "bash",        "dash", "perl", "ruby",  "node", "nodejs",
                                        "gjs", "gjs-console", "mono", "lua",  "tclsh", "wish"};
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

std::optional<DesktopEntry> parseDesktopEntry(std::string_view text,
                                              const std::vector<std::string>& languages) {
  auto values = readEntryGroup(text);
  auto value = [&](std::string_view key) {
    auto found = values.find(key);
    return found == values.end() ? std::string() : found->second;
  };
  DesktopEntry entry;
  entry.isHidden = value("Hidden") == "true";
  if (value("Type") != "Application" && !entry.isHidden) return std::nullopt;
  entry.name = value("Name");
  for (const std::string& language : languages) {
    if (auto translated = values.find("Name[" + language + "]"); translated != values.end()) {
      entry.name = translated->second;
      break;
    }
  }
  entry.exec = value("Exec");
  entry.program = programOf(wordsOfExec(entry.exec));
  entry.tryExec = value("TryExec");
  entry.iconName = value("Icon");
  entry.workingFolder = value("Path");
  entry.startupWMClass = value("StartupWMClass");
  entry.categories = listItems(value("Categories"));
  entry.onlyShowIn = listItems(value("OnlyShowIn"));
  entry.notShowIn = listItems(value("NotShowIn"));
  entry.isForTerminal = value("Terminal") == "true";
  entry.isDBusActivatable = value("DBusActivatable") == "true";
  entry.isNoDisplay = value("NoDisplay") == "true";
  return entry;
}

std::vector<std::string> languagesOfLocale(std::string_view locale) {
  std::string modifier;
  if (std::size_t at = locale.find('@'); at != std::string_view::npos) {
    modifier = locale.substr(at);
    locale = locale.substr(0, at);
  }
  locale = locale.substr(0, locale.find('.'));
  if (locale.empty() || locale == "C" || locale == "POSIX") return {};
  std::vector<std::string> languages;
  auto add = [&](std::string language) {
    if (!modifier.empty()) languages.push_back(language + modifier);
    languages.push_back(std::move(language));
  };
  add(std::string(locale));
  if (std::size_t country = locale.find('_'); country != std::string_view::npos) {
    add(std::string(locale.substr(0, country)));
  }
  return languages;
}

std::vector<std::string> wordsOfExec(std::string_view exec) {
  return expandedWords(exec, [](char) { return std::vector<std::string>(); });
}

std::vector<std::string> commandOf(const DesktopEntry& entry) {
  return expandedWords(entry.exec, [&](char code) -> std::vector<std::string> {
    switch (code) {
      case 'i':
        return entry.iconName.empty() ? std::vector<std::string>()
                                      : std::vector<std::string>{"--icon", entry.iconName};
      case 'c':
        return {entry.name};
      case 'k':
        return {entry.path};
      default:
        return {};
    }
  });
}

bool isShownIn(const DesktopEntry& entry, const std::vector<std::string>& desktops) {
  auto names = [&](const std::vector<std::string>& list) {
    return std::find_first_of(list.begin(), list.end(), desktops.begin(), desktops.end()) != list.end();
  };
  if (entry.isNoDisplay || names(entry.notShowIn)) return false;
  return entry.onlyShowIn.empty() || names(entry.onlyShowIn);
}

std::string programOf(const std::vector<std::string>& words) {
  std::string interpreter;
  for (const std::string& word : words) {
    if (word.empty()) continue;
    if (interpreter.empty() && (fileNameOf(word) == "env" || isAssignment(word))) continue;
    if (!interpreter.empty() && word.front() == '-') {
      // What follows is the text or the module to run, not a program's file.
      if (word == "-c" || word == "-e" || word == "-m") return interpreter;
      continue;
    }
    if (!isInterpreter(word)) return word;
    interpreter = word;
  }
  return interpreter;
}

}  // namespace tavik
