#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace tavik::test {

/// An empty folder that is gone after the test.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tavik-test-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace tavik::test
