#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/AXWrapper.h"

namespace tavik {

/// Asks a live element for one thing at a time and in one kind: what is missing, of
/// another kind or cannot be read is absent. Any thread; does not throw.
class LiveElementReader {
 public:
  explicit LiveElementReader(AXWrapper& access) : access_(access) {}

  std::optional<std::string> string(const AXElement& element, const std::string& attribute) const;
  std::optional<bool> boolean(const AXElement& element, const std::string& attribute) const;
  /// An integer, a real, or a text that is one as a whole.
  std::optional<double> numeric(const AXElement& element, const std::string& attribute) const;
  /// An integer or a real.
  std::optional<double> number(const AXElement& element, const std::string& attribute) const;
  std::optional<TextRange> range(const AXElement& element, const std::string& attribute) const;
  AXElement element(const AXElement& element, const std::string& attribute) const;
  std::vector<AXElement> elements(const AXElement& element, const std::string& attribute) const;

  std::optional<std::string> roleName(const AXElement& element) const;
  /// "AXPosition" and "AXSize" together.
  std::optional<Rect> frame(const AXElement& element) const;
  std::optional<Point> frameCenter(const AXElement& element) const;
  /// Absent when the names cannot be read, which says nothing about the actions.
  std::optional<std::set<std::string>> supportedActionNames(const AXElement& element) const;
  bool isSettable(const AXElement& element, const std::string& attribute) const;
  /// What the application names as its focused element; null when there is none.
  AXElement focusedElement(std::int32_t pid) const;
  bool isFocusedElement(const AXElement& element, std::int32_t pid) const;

 private:
  template <class T>
  std::optional<T> value(const AXElement& element, const std::string& attribute) const;

  AXWrapper& access_;
};

/// The number that a text is as a whole, whatever the locale; white space before it
/// makes it none.
std::optional<double> wholeNumber(const std::string& text);

}  // namespace tavik
