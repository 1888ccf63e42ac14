#include "TavikComputerUseRuntime/Interface/ComputerUseRuntimeLocalization.h"

namespace tavik {

Alert ComputerUseRuntimeLocalization::recordingConfirmation() const {
  if (isChinese_) {
    return {.style = Alert::Style::informational,
            .messageText = "允许 Tavik 录制您在 Mac 上的操作吗？",
            .informativeText = "Tavik 将记录鼠标点击、键盘输入和交互窗口内容，以便把演示工作流转换成可复用 Skill。"
                               "录制最多持续 30 分钟，您可以随时结束或丢弃。",
            .buttons = {"允许录制", "取消"}};
  }
  return {.style = Alert::Style::informational,
          .messageText = "Allow Tavik to record your actions on your Mac?",
          .informativeText = "Tavik will record mouse clicks, typed text, and interacted window content so the "
                             "demonstrated workflow can become a reusable skill. Recording lasts up to 30 minutes "
                             "and can be stopped or discarded at any time.",
          .buttons = {"Allow Recording", "Cancel"}};
}

}  // namespace tavik
