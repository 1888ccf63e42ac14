#pragma once

#include <filesystem>

#include "PlatformInterfaces/CodeIdentityPort.h"

namespace tavik {

/// Who a process is, by the file that it runs. Linux programs carry no signatures;
/// what vouches for one is where its file lies and who could have changed it:
///
/// - A file in this program's own folder was installed together with it.
/// - A file that only root can change, under a name of the maker's, was installed
///   by the administrator or the distribution.
///
/// Such a program has the maker's team identifier; any other has none. The
/// identifier is that of the maker's program, else the name of the file.
class LinuxCodeIdentity : public CodeIdentityPort {
 public:
  LinuxCodeIdentity(std::string teamIdentifier, std::filesystem::path ownExecutable)
      : teamIdentifier_(std::move(teamIdentifier)), ownExecutable_(std::move(ownExecutable)) {}

  /// Fails for processes of other users too.
  StatusResult<CodeReference> copyGuest(std::int32_t pid) override;
  /// Fails when the file has been replaced since the process started.
  StatusResult<CodeReference> copyStaticCode(const CodeReference& guest) override;
  StatusResult<SigningInformation> copySigningInformation(const CodeReference& code) override;

 private:
  bool isVouchedFor(const std::filesystem::path& file) const;

  const std::string teamIdentifier_;
  const std::filesystem::path ownExecutable_;
};

}  // namespace tavik
