#include "TavikComputerUseBridge/Shell/CallCommand.h"

#include <fmt/format.h>

#include <fstream>
#include <ostream>

namespace tavik {
namespace {

constexpr int success = 0;
constexpr int toolError = 1;
constexpr int wrongCommandLine = 2;

std::string fileExtension(const std::string& mimeType) {
  if (mimeType == "image/jpeg") return ".jpg";
  return ".png";
}

/// The first file of this tool that is not there yet.
std::filesystem::path freeImagePath(const std::filesystem::path& directory, const std::string& tool,
                                    const std::string& mimeType) {
  for (int number = 1;; ++number) {
    auto path = directory / fmt::format("{}-{}{}", tool, number, fileExtension(mimeType));
    if (!std::filesystem::exists(path)) return path;
  }
}

}  // namespace

CallCommand::CallCommand(ToolCaller& caller, std::filesystem::path imageDirectory, std::ostream& output,
                         Complain complain)
    : caller_(caller),
      imageDirectory_(std::move(imageDirectory)),
      output_(output),
      complain_(std::move(complain)) {}

int CallCommand::run(const std::string& tool, const std::string& arguments) {
  if (!caller_.catalogue().contains(tool)) return refuse("There is no tool \"" + tool + "\".");
  const auto parsed = ParsedJSON::parse(arguments.empty() ? "{}" : arguments, nullptr, false);
  if (!parsed.is_object())
    return refuse("The arguments must be a JSON object, such as '{\"app\": \"kcalc\"}'.");
  return print(tool, caller_.call(tool, parsed));
}

int CallCommand::print(const std::string& tool, const ToolResult& result) {
  for (const ToolResultContent& block : result.content) {
    if (block.isText()) {
      output_ << block.text() << '\n';
    } else if (const auto path = writeImage(tool, block.image())) {
      output_ << "Image: " << path->string() << '\n';
    } else {
      complain_("The image could not be written into " + imageDirectory_.string() + ".");
      return toolError;
    }
  }
  return result.isError ? toolError : success;
}

std::optional<std::filesystem::path> CallCommand::writeImage(const std::string& tool,
                                                             const ToolResultContent::Image& image) {
  std::error_code ignored;
  std::filesystem::create_directories(imageDirectory_, ignored);
  const auto path = freeImagePath(imageDirectory_, tool, image.mimeType);
  std::ofstream file(path, std::ios::binary);
  file << textOf(image.data);
  file.close();
  return file ? std::optional(path) : std::nullopt;
}

int CallCommand::refuse(const std::string& why) {
  complain_(why);
  return wrongCommandLine;
}

}  // namespace tavik
