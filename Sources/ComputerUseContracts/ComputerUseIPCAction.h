#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <variant>

#include "Base/JSON/Field.h"
#include "Base/JSON/RawValue.h"

namespace tavik {

// Indices name elements of the last state; coordinates are pixels of its screenshot.

struct ClickParams {
  std::optional<std::int64_t> elementIndex;
  std::optional<double> x;
  std::optional<double> y;
  std::int64_t clickCount = 1;
  /// 0 left, 1 right, 2 middle.
  std::int64_t mouseButton = 0;

  static constexpr auto fields =
      std::tuple(field("elementIndex", &ClickParams::elementIndex), field("x", &ClickParams::x),
                 field("y", &ClickParams::y), field("clickCount", &ClickParams::clickCount),
                 field("mouseButton", &ClickParams::mouseButton));
  bool operator==(const ClickParams&) const = default;
};

struct ScrollParams {
  std::optional<std::int64_t> elementIndex;
  /// 0 up, 1 down, 2 left, 3 right.
  std::int64_t direction = 0;
  double pages = 0;

  static constexpr auto fields =
      std::tuple(field("elementIndex", &ScrollParams::elementIndex),
                 field("direction", &ScrollParams::direction), field("pages", &ScrollParams::pages));
  bool operator==(const ScrollParams&) const = default;
};

struct DragParams {
  double fromX = 0;
  double fromY = 0;
  double toX = 0;
  double toY = 0;

  static constexpr auto fields =
      std::tuple(field("fromX", &DragParams::fromX), field("fromY", &DragParams::fromY),
                 field("toX", &DragParams::toX), field("toY", &DragParams::toY));
  bool operator==(const DragParams&) const = default;
};

struct TypeTextParams {
  std::string text;

  static constexpr auto fields = std::tuple(field("text", &TypeTextParams::text));
  bool operator==(const TypeTextParams&) const = default;
};

struct PressKeyParams {
  std::string key;

  static constexpr auto fields = std::tuple(field("key", &PressKeyParams::key));
  bool operator==(const PressKeyParams&) const = default;
};

struct SetValueParams {
  std::int64_t elementIndex = 0;
  std::string value;

  static constexpr auto fields = std::tuple(field("elementIndex", &SetValueParams::elementIndex),
                                            field("value", &SetValueParams::value));
  bool operator==(const SetValueParams&) const = default;
};

/// What to select of the text that is found: itself, or the place at one of its ends.
enum class TextSelectionMode { text, cursorBefore, cursorAfter };

template <>
inline constexpr auto rawValues<TextSelectionMode> = std::to_array<std::string_view>({"text", "cursor_before",
                                                                                      "cursor_after"});

struct TextSelectionParams {
  std::int64_t elementIndex = 0;
  std::string text;
  std::optional<std::string> prefix;
  std::optional<std::string> suffix;
  TextSelectionMode selection = TextSelectionMode::text;

  static constexpr auto fields = std::tuple(
      field("elementIndex", &TextSelectionParams::elementIndex), field("text", &TextSelectionParams::text),
      field("prefix", &TextSelectionParams::prefix), field("suffix", &TextSelectionParams::suffix),
      field("selection", &TextSelectionParams::selection));
  bool operator==(const TextSelectionParams&) const = default;
};

struct PerformSecondaryActionParams {
  std::int64_t elementIndex = 0;
  std::optional<std::string> action;

  static constexpr auto fields =
      std::tuple(field("elementIndex", &PerformSecondaryActionParams::elementIndex),
                 field("action", &PerformSecondaryActionParams::action));
  bool operator==(const PerformSecondaryActionParams&) const = default;
};

/// One of the eight things that the runtime can do to an application.
class ComputerUseIPCAction {
 public:
  using Payload = std::variant<ClickParams, ScrollParams, DragParams, TypeTextParams, PressKeyParams,
                               SetValueParams, TextSelectionParams, PerformSecondaryActionParams>;
  static constexpr auto caseNames = std::to_array<const char*>({
      "click",
      "scroll",
      "drag",
      "typeText",
      "pressKey",
      "setValue",
      "selectText",
      "performSecondaryAction",
  });

  ComputerUseIPCAction() = default;
  template <class Params>
  requires std::constructible_from<Payload, Params> &&
      (!std::same_as<std::remove_cvref_t<Params>, ComputerUseIPCAction>)ComputerUseIPCAction(Params&& params)
      : payload_(std::forward<Params>(params)) {}

  const Payload& payload() const { return payload_; }
  /// The parameters, or null when this is another action.
  template <class Params>
  const Params* get() const {
    return std::get_if<Params>(&payload_);
  }
  const char* caseName() const { return caseNames[payload_.index()]; }

  bool dependsOnFocusedElement() const { return get<TypeTextParams>() != nullptr; }
  bool shouldPreserveFocusedElementAfterMutation() const {
    return get<TypeTextParams>() || get<SetValueParams>();
  }
  /// Seconds for which a recording takes input for the tool's own.
  double toolGeneratedEventSuppressionInterval() const;

  bool operator==(const ComputerUseIPCAction&) const = default;

 private:
  Payload payload_;
};

}  // namespace tavik
