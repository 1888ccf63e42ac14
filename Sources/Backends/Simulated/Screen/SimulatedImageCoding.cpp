#include "Backends/Simulated/Screen/SimulatedImageCoding.h"

#include <algorithm>
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

std::uint32_t crc32(const Bytes& bytes, std::size_t from) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (std::size_t i = from; i < bytes.size(); ++i) {
    crc ^= bytes[i];
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (crc & 1 ? 0xEDB88320 : 0);
  }
  return ~crc;
}

std::uint32_t adler32(const Bytes& bytes) {
  std::uint32_t a = 1, b = 0;
  for (std::uint8_t byte : bytes) {
    a = (a + byte) % 65521;
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
  Bytes lines;
  for (int y = 0; y < image.height; ++y) {
    lines.push_back(0);
    for (int x = 0; x < image.width; ++x) {
      const std::uint8_t* pixel = pixelAt(image, x, y);
      lines.insert(lines.end(), {pixel[2], pixel[1], pixel[0], pixel[3]});
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
  result.pixels.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const std::uint8_t* pixel = pixelAt(image, x * image.width / width, y * image.height / height);
      result.pixels.insert(result.pixels.end(), pixel, pixel + 4);
    }
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
