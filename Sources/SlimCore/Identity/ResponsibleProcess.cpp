#include "SlimCore/Identity/ResponsibleProcess.h"

#include <filesystem>

namespace tavik {

namespace {

/// From an executable up to its bundle: its folder, "Contents", the bundle, and one
/// more for helpers.
constexpr int levelsSearched = 4;

}  // namespace

std::optional<std::int32_t> ResponsibleProcess::processIdentifier(std::int32_t responsibleForPID) const {
  const auto pid = process_.responsiblePID(responsibleForPID);
  return pid && *pid >= 1 ? pid : std::nullopt;
}

ResponsibleProcess::Attribution ResponsibleProcess::current() const {
  const std::int32_t own = process_.currentPID();
  if (const auto responsible = processIdentifier(own)) return {responsible, name(*responsible), *responsible == own};
  // The parent then stands for whoever started this process.
  return {std::nullopt, name(process_.parentPID()), false};
}

std::optional<std::string> ResponsibleProcess::name(std::int32_t ofProcessIdentifier) const {
  const auto running = workspace_.runningApplication(ofProcessIdentifier);
  if (running && running->localizedName && !running->localizedName->empty()) return running->localizedName;
  const auto path = executablePath(ofProcessIdentifier);
  if (!path) return std::nullopt;
  if (auto enclosing = enclosingApplicationName(*path)) return enclosing;
  const std::string fileName = std::filesystem::path(*path).filename().string();
  return fileName.empty() ? std::nullopt : std::optional(fileName);
}

std::optional<std::string> ResponsibleProcess::enclosingApplicationName(const std::string& executablePath) {
  std::filesystem::path path = executablePath;
  for (int level = 0; level < levelsSearched; ++level) {
    path = path.parent_path();
    if (path.empty() || path == "/") return std::nullopt;
    if (path.extension() == ".app") {
      const std::string stem = path.stem().string();
      return stem.empty() ? std::nullopt : std::optional(stem);
    }
  }
  return std::nullopt;
}

}  // namespace tavik
