#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <vector>

#include "PlatformInterfaces/PreferencesPort.h"

namespace tavik {

/// The members of one JSON object in a file, as it is now: the file is read again
/// when it has changed. A file that is missing or holds no JSON object has no
/// members. Any thread.
class JSONPropertyFile {
 public:
  explicit JSONPropertyFile(std::filesystem::path file);
  ~JSONPropertyFile();

  std::optional<PropertyValue> value(const std::string& key);

 private:
  struct Content;
  std::shared_ptr<const Content> present();

  const std::filesystem::path file_;
  std::mutex mutex_;
  std::shared_ptr<const Content> content_;
};

/// Preferences in a file of the user's, application properties in a file that is
/// installed with the programs.
class FilePreferences : public PreferencesPort {
 public:
  /// Of several application property files the first that has a key counts.
  FilePreferences(std::filesystem::path userFile, const std::vector<std::filesystem::path>& applicationFiles);

  /// "tavik/computer-use.json" in the user's configuration folder.
  static std::filesystem::path userFile();
  /// "TavikComputerUse.json" beside the executable, then
  /// "share/tavik-computer-use/application.json" of the prefix it is installed in.
  static std::vector<std::filesystem::path> applicationFiles(const std::filesystem::path& executable);

  std::optional<PropertyValue> object(const std::string& key) override;
  std::optional<PropertyValue> applicationProperty(const std::string& key) override;

 private:
  JSONPropertyFile user_;
  std::vector<std::unique_ptr<JSONPropertyFile>> application_;
};

}  // namespace tavik
