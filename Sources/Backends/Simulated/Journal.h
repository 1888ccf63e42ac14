#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"
#include "PlatformInterfaces/AXValue.h"

namespace tavik {

/// One thing that the system did to the simulated desktop, or the desktop to it.
struct JournalEntry {
  MonotonicTime time;
  /// What was done: "perform", "set", "read", "timeout" or "capture".
  std::string kind;
  std::int32_t pid = 0;
  /// What it was done to: "button 'Save'".
  std::string subject;
  /// The attribute, action, notification or other name that goes with it.
  std::string name;
  AXValue value;
  AXErrorCode code = AXError::success;

  /// "perform AXPress of button 'Save'", "set AXValue of text field to 'x'".
  std::string line() const;
};

/// Everything that happened, in order, with its time. Any thread.
class Journal {
 public:
  explicit Journal(Scheduler& scheduler) : scheduler_(scheduler) {}

  void record(JournalEntry entry);
  /// Something that was done to nobody in particular.
  void note(std::string kind, std::string name);
  std::vector<JournalEntry> entries() const;
  std::vector<JournalEntry> entries(const std::string& kind) const;
  /// The entries as text, for comparison with a list of expected lines.
  std::vector<std::string> lines() const;
  std::vector<std::string> lines(const std::string& kind) const;
  void clear();

  /// Reads are left out unless a test asks for them: there are thousands.
  void setRecordsReads(bool records);
  bool recordsReads() const;

 private:
  Scheduler& scheduler_;
  mutable Mutex mutex_;
  std::vector<JournalEntry> entries_;
  bool recordsReads_ = false;
};

/// A value as a journal line shows it.
std::string journalText(const AXValue& value);

}  // namespace tavik
