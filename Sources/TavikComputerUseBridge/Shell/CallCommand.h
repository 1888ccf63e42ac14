#pragma once

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

#include "TavikComputerUseBridge/Tools/ToolCaller.h"

namespace tavik {

/// Does one tool call for a person at a shell: prints the texts of the result and
/// writes its images into a folder, saying where.
class CallCommand {
 public:
  /// Given a line for the person about what went wrong.
  using Complain = std::function<void(std::string line)>;

  /// All must outlive this. Images are written below `imageDirectory`, which is
  /// made when it is not there.
  CallCommand(ToolCaller& caller, std::filesystem::path imageDirectory, std::ostream& output,
              Complain complain);

  /// `arguments` is JSON, or empty for none. The program's exit status: 0 on
  /// success, 1 when the tool answered with an error, 2 for a wrong command line.
  int run(const std::string& tool, const std::string& arguments);

 private:
  int refuse(const std::string& why);
  int print(const std::string& tool, const ToolResult& result);
  /// Where the image is; nothing when it could not be written.
  std::optional<std::filesystem::path> writeImage(const std::string& tool,
                                                  const ToolResultContent::Image& image);

  ToolCaller& caller_;
  const std::filesystem::path imageDirectory_;
  std::ostream& output_;
  const Complain complain_;
};

}  // namespace tavik
