#include "Backends/Linux/Process/ProcessFiles.h"

#include <unistd.h>

#include <climits>
#include <fstream>
#include <string_view>

namespace tavik {

namespace {

std::string procPath(std::int32_t pid, const char* file) {
  return "/proc/" + std::to_string(pid) + "/" + file;
}

std::vector<std::string> zeroEndedTexts(const std::string& path) {
  std::vector<std::string> texts;
  std::ifstream file(path, std::ios::binary);
  for (std::string text; std::getline(file, text, '\0');) texts.push_back(std::move(text));
  return texts;
}

}  // namespace

std::optional<std::string> executablePathOf(std::int32_t pid) {
  if (pid < 1) return std::nullopt;
  char target[PATH_MAX];
  ssize_t length = readlink(procPath(pid, "exe").c_str(), target, sizeof target);
  if (length <= 0) return std::nullopt;
  std::string path(target, static_cast<std::size_t>(length));
  constexpr std::string_view mark = " (deleted)";
  if (path.ends_with(mark)) path.resize(path.size() - mark.size());
  return path;
}

std::vector<std::string> commandLineOf(std::int32_t pid) {
  return zeroEndedTexts(procPath(pid, "cmdline"));
}

std::vector<std::string> environmentOf(std::int32_t pid) {
  return zeroEndedTexts(procPath(pid, "environ"));
}

std::string ownExecutablePath() {
  return executablePathOf(getpid()).value_or("");
}

}  // namespace tavik
