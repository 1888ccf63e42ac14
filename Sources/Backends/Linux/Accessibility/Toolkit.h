#pragma once

#include <string_view>

namespace tavik {

/// Who wrote the other end of the accessibility bus. They differ in what they mean
/// by the same answer.
enum class Toolkit { gtk3, gtk4, qt, chromium, other };

/// By the name that an application gives its toolkit.
inline Toolkit toolkitNamed(std::string_view name) {
  if (name == "gtk") return Toolkit::gtk3;
  if (name == "GTK") return Toolkit::gtk4;
  if (name == "Qt") return Toolkit::qt;
  if (name == "Chromium") return Toolkit::chromium;
  return Toolkit::other;
}

}  // namespace tavik
