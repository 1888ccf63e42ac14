#include "Backends/Linux/Identity/LinuxCodeIdentity.h"

#include <fcntl.h>
#include <poll.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <string>

#include "Backends/Linux/Identity/ProgramIdentity.h"
#include "Backends/Linux/Process/ProcessFiles.h"

namespace tavik {

namespace {

namespace fs = std::filesystem;

/// Errors of the system as statuses, in the manner of the vocabulary's platform.
constexpr std::int32_t systemErrorBase = 100000;
constexpr std::int32_t codeChangedOnDisk = -67034;
constexpr std::int32_t unreadableReference = -67071;

std::int32_t statusOf(int error) {
  return systemErrorBase + error;
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int number() const { return number_; }
  bool isOpen() const { return number_ >= 0; }

 private:
  const int number_;
};

/// Readable once the process has ended, so that a number that went to another
/// process meanwhile is noticed. Kernels before 5.3 have none.
Descriptor processDescriptor(std::int32_t pid) {
  return Descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

bool hasEnded(const Descriptor& process) {
  pollfd waiting{process.number(), POLLIN, 0};
  return process.isOpen() && poll(&waiting, 1, 0) != 0;
}

/// The file that a process runs: where it is, and which file it was.
struct RunningFile {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::string path;

  CodeReference reference() const {
    return std::to_string(device) + ":" + std::to_string(inode) + ":" + path;
  }

  static std::optional<RunningFile> parse(const CodeReference& reference) {
    RunningFile file;
    const char* end = reference.data() + reference.size();
    auto device = std::from_chars(reference.data(), end, file.device);
    if (device.ec != std::errc() || device.ptr == end || *device.ptr != ':') return std::nullopt;
    auto inode = std::from_chars(device.ptr + 1, end, file.inode);
    if (inode.ec != std::errc() || inode.ptr == end || *inode.ptr != ':') return std::nullopt;
    file.path.assign(inode.ptr + 1, end);
    return file;
  }
};

bool onlyRootCanChange(const struct stat& item) {
  return item.st_uid == 0 && (item.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool onlyRootCanChange(fs::path file) {
  struct stat item {};
  while (true) {
    if (stat(file.c_str(), &item) != 0 || !onlyRootCanChange(item)) return false;
    if (file == file.root_path()) return true;
    file = file.parent_path();
  }
}

/// Only this user and root. The user's own group counts as the user.
bool strangersCanChange(const fs::path& file) {
  struct stat item {};
  if (stat(file.c_str(), &item) != 0) return true;
  return (item.st_uid != 0 && item.st_uid != geteuid()) || (item.st_mode & S_IWOTH) != 0;
}

bool bearsMakersName(const fs::path& file) {
  constexpr std::string_view makersName = "tavik";
  return strncasecmp(file.filename().c_str(), makersName.data(), makersName.size()) == 0;
}

}  // namespace

StatusResult<CodeReference> LinuxCodeIdentity::copyGuest(std::int32_t pid) {
  if (pid < 1) return {statusOf(ESRCH), std::nullopt};
  Descriptor process = processDescriptor(pid);
  if (!process.isOpen() && errno == ESRCH) return {statusOf(ESRCH), std::nullopt};

  const std::string folder = "/proc/" + std::to_string(pid);
  struct stat owner {
  }, file{};
  if (stat(folder.c_str(), &owner) != 0) return {statusOf(errno), std::nullopt};
  if (owner.st_uid != geteuid()) return {statusOf(EPERM), std::nullopt};
  if (stat((folder + "/exe").c_str(), &file) != 0) return {statusOf(errno), std::nullopt};
  std::optional<std::string> path = executablePathOf(pid);
  if (!path) return {statusOf(ESRCH), std::nullopt};
  if (hasEnded(process)) return {statusOf(ESRCH), std::nullopt};
  return {0, RunningFile{file.st_dev, file.st_ino, *path}.reference()};
}

StatusResult<CodeReference> LinuxCodeIdentity::copyStaticCode(const CodeReference& guest) {
  std::optional<RunningFile> running = RunningFile::parse(guest);
  if (!running) return {unreadableReference, std::nullopt};
  struct stat onDisk {};
  if (stat(running->path.c_str(), &onDisk) != 0) return {statusOf(errno), std::nullopt};
  if (onDisk.st_dev != running->device || onDisk.st_ino != running->inode)
    return {codeChangedOnDisk, std::nullopt};
  return {0, guest};
}

StatusResult<SigningInformation> LinuxCodeIdentity::copySigningInformation(const CodeReference& code) {
  std::optional<RunningFile> file = RunningFile::parse(code);
  if (!file) return {unreadableReference, std::nullopt};
  SigningInformation information;
  information.identifier =
      ownProgramIdentifier(file->path).value_or(fs::path(file->path).filename().string());
  if (isVouchedFor(file->path)) information.teamIdentifier = teamIdentifier_;
  return {0, information};
}

bool LinuxCodeIdentity::isVouchedFor(const fs::path& file) const {
  std::error_code error;
  const fs::path ownFolder = fs::weakly_canonical(ownExecutable_, error).parent_path();
  if (file.parent_path() == ownFolder) return !strangersCanChange(file) && !strangersCanChange(ownFolder);
  return bearsMakersName(file) && onlyRootCanChange(file);
}

}  // namespace tavik
