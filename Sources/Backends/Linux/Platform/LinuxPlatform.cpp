#include "Backends/Linux/Platform/LinuxPlatform.h"

#include "Backends/Linux/Process/ProcessFiles.h"

namespace tavik {

LinuxPlatform::LinuxPlatform(MainQueue& mainQueue, std::string teamIdentifier)
    : sessionBus_(BusConnection::sessionBusAddress()),
      placement_(desktop_),
      entries_(DesktopEntryIndex::applicationFolders(), DesktopEntryIndex::userLanguages()),
      accessibility_(sessionBus_, placement_,
                     [&mainQueue](std::function<void()> work) { mainQueue.async(std::move(work)); }),
      windowServer_(desktop_),
      eventTaps_(desktop_),
      launcher_(sessionBus_, desktop_, entries_),
      activeWindows_(desktop_),
      keyboard_(desktop_),
      eventPosting_(
          desktop_, [this](std::int32_t pid) { return accessibility_.toolkit(pid); },
          [this](std::int32_t pid) { accessibility_.forgetGivenFocus(pid); }),
      workspace_(desktop_, entries_, launcher_, activeWindows_, [this] { return accessibility_.accessibleProcesses(); }),
      applicationIndex_(entries_, ApplicationUseFiles::ofTheUser()),
      requestTransport_(sessionBus_, mainQueue),
      codeIdentity_(std::move(teamIdentifier), ownExecutablePath()),
      permissions_(accessibility_, desktop_),
      preferences_(FilePreferences::userFile(), FilePreferences::applicationFiles(ownExecutablePath())),
      signals_(mainQueue),
      ports_{.accessibility = accessibility_,
             .windowServer = windowServer_,
             .screenCapture = screenCapture_,
             .imageCoding = imageCoding_,
             .eventPosting = eventPosting_,
             .eventTaps = eventTaps_,
             .keyboardLayout = keyboard_,
             .workspace = workspace_,
             .applicationIndex = applicationIndex_,
             .requestTransport = requestTransport_,
             .localSockets = localSockets_,
             .codeIdentity = codeIdentity_,
             .permissions = permissions_,
             .userInterface = userInterface_,
             .preferences = preferences_,
             .process = process_,
             .signals = signals_,
             .systemLog = systemLog_} {
  accessibility_.setClickBehind([this](std::int32_t pid, Point at) { return eventPosting_.clickBehind(pid, at); });
}

}  // namespace tavik
