#include "ActionMatrix.h"

#include <fstream>
#include <iterator>
#include <vector>

namespace tavik {

namespace {

const std::string beginMark = "<!-- The desktop test Actions writes what follows. -->\n";
const std::string endMark = "<!-- End of what it writes. -->\n";

const std::vector<std::string> toolkits = {"GTK 3", "GTK 4", "Qt", "Chromium", "Spreadsheet"};
const std::vector<std::string> actions = {"click",     "click by coordinates", "scroll",      "drag",           "type_text",
                                          "press_key", "set_value",            "select_text", "secondary action"};

std::string joined(const std::set<std::string>& words) {
  std::string joined;
  for (const auto& word : words) joined += (joined.empty() ? "" : ", ") + word;
  return joined;
}

std::string contentOf(const std::string& page) {
  std::ifstream file(page);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

ActionMatrix& ActionMatrix::shared() {
  static ActionMatrix matrix;
  return matrix;
}

void ActionMatrix::note(const std::string& action, const std::string& toolkit, const std::string& means) {
  cells_[action][toolkit].insert(means);
}

std::string ActionMatrix::table() const {
  std::string table = "| Action |";
  std::string line = "|---|";
  for (const auto& toolkit : toolkits) {
    table += " " + toolkit + " |";
    line += "---|";
  }
  table += "\n" + line + "\n";
  for (const auto& action : actions) {
    table += "| " + action + " |";
    const auto row = cells_.find(action);
    for (const auto& toolkit : toolkits) {
      const bool isKnown = row != cells_.end() && row->second.contains(toolkit);
      table += " " + (isKnown ? joined(row->second.at(toolkit)) : "not tried") + " |";
    }
    table += "\n";
  }
  return table;
}

std::string ActionMatrix::publishedTable(const std::string& page) {
  const std::string content = contentOf(page);
  const auto begin = content.find(beginMark);
  const auto end = content.find(endMark);
  if (begin == std::string::npos || end == std::string::npos) return {};
  return content.substr(begin + beginMark.size(), end - begin - beginMark.size());
}

void ActionMatrix::publish(const std::string& page, const std::string& table) {
  std::string content = contentOf(page);
  const auto begin = content.find(beginMark);
  const auto end = content.find(endMark);
  if (begin == std::string::npos || end == std::string::npos) return;
  content.replace(begin + beginMark.size(), end - begin - beginMark.size(), table);
  std::ofstream(page) << content;
}

}  // namespace tavik
