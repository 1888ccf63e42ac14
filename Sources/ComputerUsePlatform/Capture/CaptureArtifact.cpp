#include "ComputerUsePlatform/Capture/CaptureArtifact.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <system_error>

#include "ComputerUsePlatform/Capture/CaptureCoordinatorError.h"

namespace tavik {

namespace {

constexpr std::array<std::uint8_t, 8> pngSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
// The signature, then the header chunk's length, type, width and height.
constexpr std::size_t widthOffset = 16;
constexpr std::size_t heightOffset = 20;
constexpr std::size_t smallestPNG = 24;

std::uint32_t bigEndianNumber(const Bytes& bytes, std::size_t offset) {
  std::uint32_t number = 0;
  for (std::size_t i = offset; i < offset + 4; ++i) number = number << 8 | bytes[i];
  return number;
}

std::optional<Size> pngSize(const Bytes& bytes) {
  if (bytes.size() < smallestPNG || !std::equal(pngSignature.begin(), pngSignature.end(), bytes.begin())) {
    return std::nullopt;
  }
  const Size size{static_cast<double>(bigEndianNumber(bytes, widthOffset)),
                  static_cast<double>(bigEndianNumber(bytes, heightOffset))};
  return size.width >= 1 && size.height >= 1 ? std::optional(size) : std::nullopt;
}

std::optional<Bytes> readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  Bytes bytes{std::istreambuf_iterator<char>(file), {}};
  return file.bad() ? std::nullopt : std::optional(std::move(bytes));
}

}  // namespace

CaptureArtifact CaptureArtifact::consumeTemporaryPNG(const std::string& path) {
  auto bytes = readFile(path);
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
  if (!bytes) throw CaptureCoordinatorError::unavailable("screenshot file could not be read");
  const auto size = pngSize(*bytes);
  if (!size) throw CaptureCoordinatorError::unavailable("screenshot file is not a readable PNG");
  return {*std::move(bytes), *size};
}

}  // namespace tavik
