#include "ComputerUseContracts/ComputerUseIPCAction.h"

#include <algorithm>

#include "Base/Text/Text.h"

namespace tavik {

namespace {

double suppressionSeconds(const ClickParams& click) {
  if (click.mouseButton != 0) return 1.4;
  return click.clickCount > 1 ? 0.8 : 0.5;
}
double suppressionSeconds(const ScrollParams&) {
  return 0.6;
}
double suppressionSeconds(const DragParams&) {
  return 0.8;
}
double suppressionSeconds(const TypeTextParams& typing) {
  return std::clamp(static_cast<double>(text::characterCount(typing.text)) * 0.01, 0.8, 1.6);
}
double suppressionSeconds(const PressKeyParams&) {
  return 1.4;
}
double suppressionSeconds(const SetValueParams&) {
  return 0.4;
}
double suppressionSeconds(const TextSelectionParams&) {
  return 0.4;
}
double suppressionSeconds(const PerformSecondaryActionParams&) {
  return 1.0;
}

}  // namespace

double ComputerUseIPCAction::toolGeneratedEventSuppressionInterval() const {
  return std::visit([](const auto& params) { return suppressionSeconds(params); }, payload_);
}

}  // namespace tavik
