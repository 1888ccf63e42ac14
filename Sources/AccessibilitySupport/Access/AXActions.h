#pragma once

#include <map>
#include <string>

/// The raw names of the actions that elements offer, and their names for a reader.
namespace tavik::AXActions {

inline const std::string press = "AXPress";
inline const std::string confirm = "AXConfirm";
inline const std::string raise = "AXRaise";
inline const std::string showMenu = "AXShowMenu";
inline const std::string increment = "AXIncrement";
inline const std::string decrement = "AXDecrement";
inline const std::string cancel = "AXCancel";
inline const std::string pick = "AXPick";
inline const std::string delete_ = "AXDelete";
inline const std::string zoomWindow = "AXZoomWindow";
inline const std::string showAlternateUI = "AXShowAlternateUI";
inline const std::string scrollToVisible = "AXScrollToVisible";
inline const std::string scrollLeftByPage = "AXScrollLeftByPage";
inline const std::string scrollRightByPage = "AXScrollRightByPage";
inline const std::string scrollUpByPage = "AXScrollUpByPage";
inline const std::string scrollDownByPage = "AXScrollDownByPage";

/// "AXDelete" and "AXZoomWindow" are left out on purpose: what they do is better
/// said in the application's own words.
inline const std::map<std::string, std::string> readableToRaw = {
    {"Press", press},
    {"Pick", pick},
    {"Increment", increment},
    {"Decrement", decrement},
    {"Confirm", confirm},
    {"Cancel", cancel},
    {"Raise", raise},
    {"Show Menu", showMenu},
    {"Show Alternate UI", showAlternateUI},
    {"Scroll To Visible", scrollToVisible},
    {"Scroll Left By Page", scrollLeftByPage},
    {"Scroll Right By Page", scrollRightByPage},
    {"Scroll Up By Page", scrollUpByPage},
    {"Scroll Down By Page", scrollDownByPage},
};

/// The exact inverse of `readableToRaw`.
inline const std::map<std::string, std::string> rawToReadable = [] {
  std::map<std::string, std::string> inverse;
  for (const auto& [readable, raw] : readableToRaw) inverse.emplace(raw, readable);
  return inverse;
}();

}  // namespace tavik::AXActions
