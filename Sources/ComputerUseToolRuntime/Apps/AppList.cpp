#include "ComputerUseToolRuntime/Apps/AppList.h"

#include "Base/Text/Text.h"
#include "Base/Time/ISO8601.h"

namespace tavik {

namespace {

std::string tagSuffix(const AppSearchResult& app) {
  std::vector<std::string> tags;
  if (app.isFrontmost) tags.push_back("frontmost");
  if (app.isRunning) tags.push_back("running");
  if (app.lastUsedDate) tags.push_back("last-used=" + isoDateLocal(*app.lastUsedDate));
  if (app.useCount && *app.useCount > 0) tags.push_back("uses=" + std::to_string(*app.useCount));
  return tags.empty() ? "" : " [" + text::joined(tags, ", ") + "]";
}

}  // namespace

std::string formatListApps(const std::vector<AppSearchResult>& apps) {
  std::vector<std::string> lines;
  lines.reserve(apps.size());
  for (const AppSearchResult& app : apps) {
    lines.push_back(app.displayName + " — " + app.bundleIdentifier + tagSuffix(app));
  }
  return text::joined(lines, "\n");
}

}  // namespace tavik
