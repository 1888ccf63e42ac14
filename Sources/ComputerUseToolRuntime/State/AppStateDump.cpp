#include "ComputerUseToolRuntime/State/AppStateDump.h"

#include <utility>
#include <vector>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "Base/Text/Text.h"

namespace tavik {

std::string AppStateDump::buildAXTree(const AXElement& element, int maxDepth, int remainingElements) {
  std::string dump;
  appendElement(dump, element, 0, maxDepth, remainingElements);
  return dump;
}

void AppStateDump::appendElement(std::string& dump, const AXElement& element, int depth, int maxDepth,
                                 int& remainingElements) {
  if (depth > maxDepth || remainingElements <= 0) return;
  scheduler_.checkCancellation();
  --remainingElements;
  if (const std::string text = line(element); !text.empty()) {
    if (!dump.empty()) dump += '\n';
    dump += std::string(static_cast<std::size_t>(depth), '\t') + text;
  }
  for (const auto& child : reader_.elements(element, AXAttributes::children)) {
    appendElement(dump, child, depth + 1, maxDepth, remainingElements);
  }
}

std::string AppStateDump::line(const AXElement& element) {
  const auto role = reader_.roleName(element);
  const std::pair<const char*, std::optional<std::string>> said[] = {
      {"Title", reader_.string(element, AXAttributes::title)},
      {"Value", reader_.string(element, AXAttributes::value)},
      {"Description", reader_.string(element, AXAttributes::description)},
  };
  std::vector<std::string> pieces;
  for (const auto& [name, value] : said) {
    if (value && !value->empty()) pieces.push_back(std::string(name) + ": " + *value);
  }
  const auto actions = reader_.supportedActionNames(element);
  if (actions && !actions->empty()) {
    pieces.push_back("Actions: " + text::joined({actions->begin(), actions->end()}, ", "));
  }
  const bool saysNothing = pieces.empty() && (!role || role == "AXGroup" || role == "AXUnknown");
  if (saysNothing) return "";
  pieces.insert(pieces.begin(), role.value_or("AXUnknown"));
  return text::joined(pieces, " ");
}

}  // namespace tavik
