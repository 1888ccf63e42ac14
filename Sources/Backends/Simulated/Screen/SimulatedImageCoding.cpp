#include "Backends/Simulated/Screen/SimulatedImageCoding.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace tavik {

namespace {

const std::uint8_t* pixelAt(const Image& image, int x, int y) {
  return image.pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(image.bytesPerRow) +
         static_cast<std::size_t>(x) * 4;
}

void appendNumber(Bytes& bytes, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(number >> shift));
}

constexpr std::array<std::uint32_t, 256> makeRemainders() {
  std::array<std::uint32_t, 256> remainders{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t remainder = byte;
    for (int bit = 0; bit < 8; ++bit) remainder = (remainder >> 1) ^ (remainder & 1 ? 0xEDB88320 : 0);
    remainders[byte] = remainder;
  }
  return remainders;
}

std::uint32_t crc32(const Bytes& bytes, std::size_t from) {
  static constexpr auto remainders = makeRemainders();
  std::uint32_t crc = 0xFFFFFFFF;
  const std::uint8_t* data = bytes.data();
  for (std::size_t i = from; i < bytes.size(); ++i) crc = (crc >> 8) ^ remainders.data()[(crc ^ data[i]) & 0xFF];
  return ~crc;
}

std::uint32_t adler32(const Bytes& bytes) {
  std::uint32_t a = 1, b = 0;
  const std::uint8_t* end = bytes.data() + bytes.size();
  for (const std::uint8_t* byte = bytes.data(); byte != end; ++byte) {
    a = (a + *byte) % 65521;
    b = (b + a) % 65521;
  }
  return b << 16 | a;
}

void appendChunk(Bytes& png, std::string_view type, const Bytes& content) {
  appendNumber(png, static_cast<std::uint32_t>(content.size()));
  const std::size_t start = png.size();
  png.insert(png.end(), type.begin(), type.end());
  png.insert(png.end(), content.begin(), content.end());
  appendNumber(png, crc32(png, start));
}

/// Each row behind the number of its filter, which is none.
Bytes scanlines(const Image& image) {
  const std::size_t lineLength = 1 + static_cast<std::size_t>(image.width) * 4;
  Bytes lines(lineLength * static_cast<std::size_t>(image.height), 0);
  for (int y = 0; y < image.height; ++y) {
    const std::uint8_t* from = pixelAt(image, 0, y);
    std::uint8_t* to = lines.data() + static_cast<std::size_t>(y) * lineLength + 1;
    for (int x = 0; x < image.width; ++x, from += 4, to += 4) {
      to[0] = from[2];
      to[1] = from[1];
      to[2] = from[0];
      to[3] = from[3];
    }
  }
  return lines;
}

Bytes storedStream(const Bytes& content) {
  constexpr std::size_t largestBlock = 65535;
  Bytes stream = {0x78, 0x01};
  for (std::size_t at = 0; at < content.size(); at += largestBlock) {
    const std::size_t size = std::min(largestBlock, content.size() - at);
    const bool isLast = at + size == content.size();
    const auto length = static_cast<std::uint16_t>(size);
    stream.insert(stream.end(), {static_cast<std::uint8_t>(isLast), static_cast<std::uint8_t>(length & 0xFF),
                                 static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(~length & 0xFF),
                                 static_cast<std::uint8_t>((~length >> 8) & 0xFF)});
    stream.insert(stream.end(), content.begin() + static_cast<std::ptrdiff_t>(at),
                  content.begin() + static_cast<std::ptrdiff_t>(at + size));
  }
  appendNumber(stream, adler32(content));
  return stream;
}

}  // namespace

Image SimulatedImageCoding::scaled(const Image& image, int width, int height) {
  Image result{width, height, width * 4, {}};
  result.pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
  std::uint8_t* to = result.pixels.data();
  for (int y = 0; y < height; ++y) {
    const std::uint8_t* row = pixelAt(image, 0, y * image.height / height);
    for (int x = 0; x < width; ++x, to += 4) std::memcpy(to, row + x * image.width / width * 4, 4);
  }
  return result;
}

std::optional<Bytes> SimulatedImageCoding::encodePNG(const Image& image) {
  if (image.width < 1 || image.height < 1) return std::nullopt;
  Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  Bytes header;
  appendNumber(header, static_cast<std::uint32_t>(image.width));
  appendNumber(header, static_cast<std::uint32_t>(image.height));
  header.insert(header.end(), {8, 6, 0, 0, 0});
  appendChunk(png, "IHDR", header);
  appendChunk(png, "IDAT", storedStream(scanlines(image)));
  appendChunk(png, "IEND", {});
  return png;
}

}  // namespace tavik
