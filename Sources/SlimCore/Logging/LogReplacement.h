#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>

namespace tavik {

/// A descriptor that is closed, and thereby unlocked, at the end of its scope.
struct OpenFile {
  int descriptor;
  explicit OpenFile(int descriptor) : descriptor(descriptor) {}
  ~OpenFile() {
    if (descriptor >= 0) close(descriptor);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
};

/// From the offset to the end; absent when reading failed.
std::optional<std::string> readFrom(int descriptor, std::int64_t offset);

/// Gives a file that other processes hold open, and append to, a new content in place,
/// so that nothing is lost when the process is killed on the way: the content stands
/// complete in a file beside it before the old one goes, and whoever comes next
/// finishes the work.
///
/// All operations are for the holder of the exclusive lock, and give false, with the
/// error number in errno, when the file system fails.
class LogReplacement {
 public:
  explicit LogReplacement(const std::filesystem::path& file) : beside_(file.string() + ".compacting") {}

  /// Whether somebody was killed on the way. Needs no lock.
  bool isUnfinished() const { return access(beside_.c_str(), F_OK) == 0; }

  /// Replaces the content.
  bool replace(int descriptor, const std::string& content) const;
  /// Finishes what somebody else began; true when there is nothing to finish.
  bool finishInto(int descriptor) const;

 private:
  bool writeBeside(const std::string& content) const;
  bool writeInPlace(int descriptor, const std::string& content) const;

  const std::filesystem::path beside_;
};

}  // namespace tavik
