#include "Backends/Simulated/Journal.h"

#include <algorithm>

#include <fmt/format.h>

namespace tavik {

namespace {

struct ValueText {
  std::string operator()(std::monostate) const { return "null"; }
  std::string operator()(const std::string& value) const { return "'" + value + "'"; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const { return fmt::format("{}", value); }
  std::string operator()(Point value) const { return fmt::format("({}, {})", value.x, value.y); }
  std::string operator()(Size value) const { return fmt::format("{} x {}", value.width, value.height); }
  std::string operator()(const Rect& value) const {
    return fmt::format("({}, {}, {}, {})", value.origin.x, value.origin.y, value.size.width, value.size.height);
  }
  std::string operator()(TextRange value) const { return fmt::format("{{{}, {}}}", value.location, value.length); }
  std::string operator()(const AXURL& value) const { return value.absoluteString; }
  std::string operator()(const AXElement&) const { return "an element"; }
  std::string operator()(const AXArray& value) const { return fmt::format("{} values", value.size()); }
  std::string operator()(const AXAttributedText& value) const { return "'" + value.text + "'"; }
  std::string operator()(const AXTextMarkerRange&) const { return "a marker range"; }
  std::string operator()(AXErrorMark value) const { return fmt::format("error {}", value.code); }
};

}  // namespace

std::string journalText(const AXValue& value) { return std::visit(ValueText(), value.storage()); }

std::string JournalEntry::line() const {
  std::string line = kind;
  if (!name.empty()) line += " " + name;
  if (!subject.empty()) line += " of " + subject;
  if (!value.isNull()) line += " to " + journalText(value);
  if (code != AXError::success) line += fmt::format(" answered {}", code);
  return line;
}

void Journal::record(JournalEntry entry) {
  entry.time = scheduler_.now();
  MutexLock lock(mutex_);
  entries_.push_back(std::move(entry));
}

void Journal::note(std::string kind, std::string name) {
  JournalEntry entry;
  entry.kind = std::move(kind);
  entry.name = std::move(name);
  record(std::move(entry));
}

std::vector<JournalEntry> Journal::entries() const {
  MutexLock lock(mutex_);
  return entries_;
}

std::vector<JournalEntry> Journal::entries(const std::string& kind) const {
  auto chosen = entries();
  std::erase_if(chosen, [&](const JournalEntry& entry) { return entry.kind != kind; });
  return chosen;
}

std::vector<std::string> Journal::lines() const {
  std::vector<std::string> lines;
  for (const JournalEntry& entry : entries()) lines.push_back(entry.line());
  return lines;
}

std::vector<std::string> Journal::lines(const std::string& kind) const {
  std::vector<std::string> lines;
  for (const JournalEntry& entry : entries(kind)) lines.push_back(entry.line());
  return lines;
}

void Journal::clear() {
  MutexLock lock(mutex_);
  entries_.clear();
}

void Journal::setRecordsReads(bool records) {
  MutexLock lock(mutex_);
  recordsReads_ = records;
}

bool Journal::recordsReads() const {
  MutexLock lock(mutex_);
  return recordsReads_;
}

}  // namespace tavik
