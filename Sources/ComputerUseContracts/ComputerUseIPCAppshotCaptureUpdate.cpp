#include "ComputerUseContracts/ComputerUseIPCAppshotCaptureUpdate.h"

namespace tavik {

using Update = ComputerUseIPCAppshotCaptureUpdate;

Update Update::metadata(ComputerUseIPCAppshotTarget target) {
  Update update("metadata");
  update.target_ = std::move(target);
  return update;
}

Update Update::axText(std::string text) {
  Update update("axText");
  update.text_ = std::move(text);
  return update;
}

Update Update::screenshot(std::string dataURL) {
  Update update("screenshot");
  update.screenshotDataURL_ = std::move(dataURL);
  return update;
}

Update Update::completed(std::string transitionSnapshotDataURL) {
  Update update("completed");
  update.transitionSnapshotDataURL_ = std::move(transitionSnapshotDataURL);
  return update;
}

Update Update::failed(std::string error) {
  Update update("failed");
  update.error_ = std::move(error);
  return update;
}

Update Update::heartbeat() {
  return Update("heartbeat");
}

}  // namespace tavik
