#include "SlimCore/Logging/LogReplacement.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

namespace tavik {

namespace {

bool writeAllAt(int descriptor, std::string_view content, off_t offset) {
  while (!content.empty()) {
    const ssize_t count = pwrite(descriptor, content.data(), content.size(), offset);
    if (count < 1) return false;
    offset += count;
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// Whether the text begins with a part of the content, up to all of it, and then with
/// zero bytes as far as the content reaches: lines hold none, so nothing else does.
bool isContentInProgress(std::string_view text, std::string_view content) {
  if (text.size() < content.size()) return false;
  const auto written = std::mismatch(content.begin(), content.end(), text.begin()).first - content.begin();
  const auto rest = text.substr(static_cast<std::size_t>(written), content.size() - static_cast<std::size_t>(written));
  return std::ranges::all_of(rest, [](char byte) { return byte == '\0'; });
}

}  // namespace

std::optional<std::string> readFrom(int descriptor, std::int64_t offset) {
  std::string content;
  std::array<char, 65536> buffer;
  while (true) {
    const ssize_t count = pread(descriptor, buffer.data(), buffer.size(), offset + static_cast<off_t>(content.size()));
    if (count < 0) return std::nullopt;
    if (count == 0) return content;
    content.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

bool LogReplacement::replace(int descriptor, const std::string& content) const {
  return writeBeside(content) && writeInPlace(descriptor, content);
}

bool LogReplacement::writeBeside(const std::string& content) const {
  // Under another name until it is complete.
  const std::string draft = beside_.string() + ".draft";
  {
    OpenFile file(open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (file.descriptor < 0 || !writeAllAt(file.descriptor, content, 0)) return false;
  }
  return rename(draft.c_str(), beside_.c_str()) == 0;
}

/// The file gets its final size before its content, so that lines that others append
/// after a kill stand behind it and not in it.
bool LogReplacement::writeInPlace(int descriptor, const std::string& content) const {
  return ftruncate(descriptor, 0) == 0 && ftruncate(descriptor, static_cast<off_t>(content.size())) == 0 &&
         writeAllAt(descriptor, content, 0) && unlink(beside_.c_str()) == 0;
}

bool LogReplacement::finishInto(int descriptor) const {
  OpenFile file(open(beside_.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.descriptor < 0) return errno == ENOENT;
  const auto content = readFrom(file.descriptor, 0);
  const auto present = readFrom(descriptor, 0);
  if (!content || !present) return false;

  if (isContentInProgress(*present, *content)) {
    return writeAllAt(descriptor, *content, 0) && unlink(beside_.c_str()) == 0;
  }
  // Killed before the old content went: all that was to be kept is still there.
  const std::string_view kept = std::string_view(*content).substr(content->find('\n') + 1);
  if (present->find(kept) != std::string::npos) return unlink(beside_.c_str()) == 0;
  // Killed between the two sizes: what is there came after the content.
  return replace(descriptor, *content + *present);
}

}  // namespace tavik
