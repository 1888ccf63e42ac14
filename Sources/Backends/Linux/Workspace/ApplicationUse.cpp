#include "Backends/Linux/Workspace/ApplicationUse.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "Backends/Linux/Workspace/DesktopEntryIndex.h"

namespace tavik {

namespace {

namespace fs = std::filesystem;

using Attributes = std::map<std::string, std::string, std::less<>>;

std::string withoutEntities(std::string_view text) {
  constexpr std::pair<std::string_view, char> entities[] = {
      {"&apos;", '\''}, {"&quot;", '"'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}};
  std::string plain;
  while (!text.empty()) {
    const auto entity = std::find_if(std::begin(entities), std::end(entities),
                                     [&](const auto& known) { return text.starts_with(known.first); });
    const bool isEntity = entity != std::end(entities);
    plain += isEntity ? entity->second : text.front();
    text.remove_prefix(isEntity ? entity->first.size() : 1);
  }
  return plain;
}

/// The attributes of a start tag, given what stands between its name and its end.
Attributes attributesOf(std::string_view tag) {
  Attributes attributes;
  while (true) {
    const std::size_t equals = tag.find('=');
    if (equals == std::string_view::npos) return attributes;
    std::string_view name = tag.substr(0, equals);
    if (std::size_t blank = name.find_last_of(" \t\r\n"); blank != std::string_view::npos) {
      name.remove_prefix(blank + 1);
    }
    const std::size_t start = tag.find_first_of("\"'", equals);
    if (start == std::string_view::npos) return attributes;
    const std::size_t end = tag.find(tag[start], start + 1);
    if (end == std::string_view::npos) return attributes;
    attributes.emplace(name, withoutEntities(tag.substr(start + 1, end - start - 1)));
    tag.remove_prefix(end + 1);
  }
}

/// The attributes of every element of this name.
std::vector<Attributes> elementsNamed(std::string_view name, std::string_view text) {
  const std::string opening = "<" + std::string(name);
  std::vector<Attributes> elements;
  for (std::size_t at = text.find(opening); at != std::string_view::npos; at = text.find(opening, at)) {
    at += opening.size();
    const std::size_t end = text.find('>', at);
    if (end == std::string_view::npos) break;
    const bool isWholeName = std::string_view(" \t\r\n/>").find(text[at]) != std::string_view::npos;
    if (isWholeName) elements.push_back(attributesOf(text.substr(at, end - at)));
  }
  return elements;
}

std::string valueOf(const Attributes& attributes, std::string_view name) {
  const auto found = attributes.find(name);
  return found == attributes.end() ? "" : found->second;
}

std::optional<std::int64_t> integer(const std::string& text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<WallTime> secondsSinceEpoch(const std::string& text) {
  const auto number = integer(text);
  constexpr std::int64_t latest = 9'000'000'000;
  if (!number || *number <= 0 || *number > latest) return std::nullopt;
  return WallTime(std::chrono::seconds(*number));
}

/// "2026-03-05T09:15:30.123Z", to the second.
std::optional<WallTime> dateInUTC(const std::string& text) {
  int year = 0, hour = 0, minute = 0, second = 0;
  unsigned month = 0, day = 0;
  if (std::sscanf(text.c_str(), "%4d-%2u-%2uT%2d:%2d:%2d", &year, &month, &day, &hour, &minute, &second) !=
      6) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                         std::chrono::day(day)};
  if (!date.ok() || year < 1970 || year > 2200) return std::nullopt;
  return std::chrono::sys_days(date) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
         std::chrono::seconds(second);
}

void note(ApplicationUse& use, std::optional<WallTime> lastUsed) {
  use.lastUsed = std::max(use.lastUsed, lastUsed);
}

std::string readFile(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

void addUsesOfDocuments(std::string_view text, const std::vector<DesktopEntry>& entries,
                        ApplicationUses& uses) {
  for (const Attributes& application : elementsNamed("bookmark:application", text)) {
    std::string exec = valueOf(application, "exec");
    std::erase(exec, '\'');
    ProgramTraits traits;
    traits.commandLine = wordsOfExec(exec);
    const DesktopEntry* entry = matchDesktopEntry(entries, traits);
    if (entry == nullptr) continue;
    ApplicationUse& use = uses[entry->id];
    auto modified = dateInUTC(valueOf(application, "modified"));
    note(use, modified ? modified : secondsSinceEpoch(valueOf(application, "timestamp")));
    if (auto count = integer(valueOf(application, "count"))) use.count = use.count.value_or(0) + *count;
  }
}

void addUsesOfShell(std::string_view text, ApplicationUses& uses) {
  for (const Attributes& application : elementsNamed("application", text)) {
    std::string id = valueOf(application, "id");
    constexpr std::string_view suffix = ".desktop";
    if (!id.ends_with(suffix)) continue;
    id.resize(id.size() - suffix.size());
    if (auto seen = secondsSinceEpoch(valueOf(application, "last-seen"))) note(uses[id], seen);
  }
}

ApplicationUseFiles ApplicationUseFiles::ofTheUser() {
  const char* data = std::getenv("XDG_DATA_HOME");
  const char* home = std::getenv("HOME");
  const fs::path folder = data != nullptr && *data != '\0'
                              ? fs::path(data)
                              : fs::path(home != nullptr ? home : "") / ".local/share";
  return {.documents = folder / "recently-used.xbel",
          .shellState = folder / "gnome-shell" / "application_state"};
}

ApplicationUses ApplicationUseFiles::read(const std::vector<DesktopEntry>& entries) const {
  ApplicationUses uses;
  addUsesOfDocuments(readFile(documents), entries, uses);
  addUsesOfShell(readFile(shellState), uses);
  return uses;
}

}  // namespace tavik
