#include "Backends/Linux/Identity/FilePreferences.h"

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>

namespace tavik {

namespace {

namespace fs = std::filesystem;
using JSON = nlohmann::json;

/// What changes whenever a file is written or replaced.
struct FileVersion {
  ino_t inode = 0;
  off_t size = -1;
  timespec modified{};

  bool operator==(const FileVersion& other) const {
    return inode == other.inode && size == other.size && modified.tv_sec == other.modified.tv_sec &&
           modified.tv_nsec == other.modified.tv_nsec;
  }
};

FileVersion versionOf(const fs::path& file) {
  struct stat item {};
  if (stat(file.c_str(), &item) != 0) return {};
  return {item.st_ino, item.st_size, item.st_mtim};
}

JSON readObject(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  JSON object = stream ? JSON::parse(stream, nullptr, false) : JSON();
  return object.is_object() ? object : JSON::object();
}

PropertyValue textList(const JSON& array) {
  std::vector<std::string> texts;
  for (const JSON& element : array) {
    if (!element.is_string()) return UnreadableProperty{};
    texts.push_back(element.get<std::string>());
  }
  return texts;
}

PropertyValue propertyOf(const JSON& value) {
  constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (value.is_boolean()) return value.get<bool>();
  if (value.is_number_unsigned() && value.get<std::uint64_t>() > largest) return value.get<double>();
  if (value.is_number_integer()) return value.get<std::int64_t>();
  if (value.is_number_float()) return value.get<double>();
  if (value.is_string()) return value.get<std::string>();
  if (value.is_array()) return textList(value);
  return UnreadableProperty{};
}

}  // namespace

struct JSONPropertyFile::Content {
  FileVersion version;
  JSON object;
};

JSONPropertyFile::JSONPropertyFile(fs::path file) : file_(std::move(file)) {}

JSONPropertyFile::~JSONPropertyFile() = default;

std::optional<PropertyValue> JSONPropertyFile::value(const std::string& key) {
  auto content = present();
  auto found = content->object.find(key);
  if (found == content->object.end()) return std::nullopt;
  return propertyOf(*found);
}

std::shared_ptr<const JSONPropertyFile::Content> JSONPropertyFile::present() {
  FileVersion version = versionOf(file_);
  std::lock_guard lock(mutex_);
  if (content_ == nullptr || !(content_->version == version)) {
    content_ = std::make_shared<const Content>(Content{version, readObject(file_)});
  }
  return content_;
}

FilePreferences::FilePreferences(fs::path userFile, const std::vector<fs::path>& applicationFiles)
    : user_(std::move(userFile)) {
  for (const fs::path& file : applicationFiles)
    application_.push_back(std::make_unique<JSONPropertyFile>(file));
}

fs::path FilePreferences::userFile() {
  const char* configuration = std::getenv("XDG_CONFIG_HOME");
  const char* home = std::getenv("HOME");
  fs::path folder = configuration != nullptr && *configuration != '\0'
                        ? fs::path(configuration)
                        : fs::path(home != nullptr ? home : "/") / ".config";
  return folder / "tavik" / "computer-use.json";
}

std::vector<fs::path> FilePreferences::applicationFiles(const fs::path& executable) {
  fs::path folder = executable.parent_path();
  return {folder / "TavikComputerUse.json",
          folder.parent_path() / "share/tavik-computer-use/application.json"};
}

std::optional<PropertyValue> FilePreferences::object(const std::string& key) {
  return user_.value(key);
}

std::optional<PropertyValue> FilePreferences::applicationProperty(const std::string& key) {
  for (const auto& file : application_) {
    if (auto value = file->value(key)) return value;
  }
  return std::nullopt;
}

}  // namespace tavik
