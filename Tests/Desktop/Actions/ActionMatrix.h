#pragma once

#include <map>
#include <set>
#include <string>

namespace tavik {

/// Which means brought which action about in which toolkit, as the tests saw it.
class ActionMatrix {
 public:
  static ActionMatrix& shared();

  void note(const std::string& action, const std::string& toolkit, const std::string& means);
  bool isEmpty() const { return cells_.empty(); }
  /// As a table in Markdown.
  std::string table() const;
  /// The table that stands in a page between its two marks.
  static std::string publishedTable(const std::string& page);
  static void publish(const std::string& page, const std::string& table);

 private:
  /// By action and toolkit.
  std::map<std::string, std::map<std::string, std::set<std::string>>> cells_;
};

}  // namespace tavik
