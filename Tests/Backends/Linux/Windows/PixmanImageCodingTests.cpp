#include "Backends/Linux/Windows/PixmanImageCoding.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cstring>

namespace tavik {
namespace {

struct Color {
  std::uint8_t red, green, blue, alpha;
  bool operator==(const Color&) const = default;
};

Image filled(int width, int height, Color color, int padding = 0) {
  Image image{.width = width, .height = height, .bytesPerRow = width * 4 + padding, .pixels = {}};
  image.pixels.resize(static_cast<std::size_t>(image.bytesPerRow * height));
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      std::uint8_t* pixel = image.pixels.data() + y * image.bytesPerRow + x * 4;
      pixel[0] = color.blue;
      pixel[1] = color.green;
      pixel[2] = color.red;
      pixel[3] = color.alpha;
    }
  }
  return image;
}

void set(Image& image, int x, int y, Color color) {
  std::uint8_t* pixel = image.pixels.data() + y * image.bytesPerRow + x * 4;
  pixel[0] = color.blue;
  pixel[1] = color.green;
  pixel[2] = color.red;
  pixel[3] = color.alpha;
}

Color at(const Image& image, int x, int y) {
  const std::uint8_t* pixel = image.pixels.data() + y * image.bytesPerRow + x * 4;
  return {pixel[2], pixel[1], pixel[0], pixel[3]};
}

/// Reads a PNG with libpng's simple interface, as red, green, blue, alpha.
Image decoded(const Bytes& bytes) {
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_memory(&png, bytes.data(), bytes.size()) == 0) return {};
  png.format = PNG_FORMAT_BGRA;
  Image image = filled(static_cast<int>(png.width), static_cast<int>(png.height), {});
  png_image_finish_read(&png, nullptr, image.pixels.data(), 0, nullptr);
  return image;
}

bool hasAlphaChannel(const Bytes& bytes) {
  return bytes.at(25) == PNG_COLOR_TYPE_RGB_ALPHA;
}

constexpr Color orange{255, 128, 0, 255};
constexpr Color black{0, 0, 0, 255};
constexpr Color white{255, 255, 255, 255};

TEST(PixmanImageCoding, EncodedPictureDecodesToTheSamePixels) {
  Image image = filled(37, 11, orange);
  set(image, 5, 3, {1, 2, 3, 255});
  auto bytes = PixmanImageCoding().encodePNG(image);
  ASSERT_TRUE(bytes);
  EXPECT_FALSE(hasAlphaChannel(*bytes));
  EXPECT_EQ(decoded(*bytes).pixels, image.pixels);
}

TEST(PixmanImageCoding, RowsMayBeLongerThanThePicture) {
  auto bytes = PixmanImageCoding().encodePNG(filled(5, 4, orange, 13));
  ASSERT_TRUE(bytes);
  EXPECT_EQ(decoded(*bytes).pixels, filled(5, 4, orange).pixels);
  EXPECT_EQ(at(PixmanImageCoding().scaled(filled(6, 4, orange, 13), 3, 2), 2, 1), orange);
}

TEST(PixmanImageCoding, TransparencyIsKeptAndNoLongerPremultiplied) {
  auto bytes = PixmanImageCoding().encodePNG(filled(2, 2, {100, 50, 0, 128}));
  ASSERT_TRUE(bytes);
  EXPECT_TRUE(hasAlphaChannel(*bytes));
  EXPECT_EQ(at(decoded(*bytes), 1, 1), (Color{199, 100, 0, 128}));
}

TEST(PixmanImageCoding, NothingIsEncodedWithoutPixels) {
  EXPECT_FALSE(PixmanImageCoding().encodePNG({}));
  Image tooShort = filled(10, 10, orange);
  tooShort.pixels.resize(100);
  EXPECT_FALSE(PixmanImageCoding().encodePNG(tooShort));
}

TEST(PixmanImageCoding, ShrinkingAveragesOverEveryPixel) {
  // A checkerboard of single pixels becomes grey; picking pixels would keep black or white.
  Image board = filled(64, 64, white);
  for (int y = 0; y < 64; ++y) {
    for (int x = 0; x < 64; ++x) {
      if ((x + y) % 2 == 0) set(board, x, y, black);
    }
  }
  Image small = PixmanImageCoding().scaled(board, 16, 16);
  ASSERT_EQ(small.width, 16);
  ASSERT_EQ(small.height, 16);
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 16; ++x) {
      EXPECT_NEAR(at(small, x, y).red, 127, 6);
      EXPECT_EQ(at(small, x, y).alpha, 255);
    }
  }
}

TEST(PixmanImageCoding, ScalingKeepsColoursUpToTheEdges) {
  for (auto [width, height] : {std::pair{100, 60}, {333, 77}, {1, 1}, {800, 900}}) {
    Image scaled = PixmanImageCoding().scaled(filled(300, 200, orange), width, height);
    ASSERT_EQ(scaled.width, width);
    ASSERT_EQ(scaled.height, height);
    for (auto [x, y] : {std::pair{0, 0}, {width - 1, 0}, {0, height - 1}, {width - 1, height - 1}}) {
      EXPECT_EQ(at(scaled, x, y), orange) << width << "x" << height << " at " << x << "," << y;
    }
  }
}

TEST(PixmanImageCoding, ScalingKeepsThingsInTheirPlace) {
  Image image = filled(200, 100, white);
  for (int y = 0; y < 100; ++y) {
    for (int x = 0; x < 100; ++x) set(image, x, y, black);
  }
  Image small = PixmanImageCoding().scaled(image, 80, 40);
  EXPECT_EQ(at(small, 38, 20), black);
  EXPECT_EQ(at(small, 41, 20), white);
}

TEST(PixmanImageCoding, SameSizeIsTheSamePicture) {
  Image image = filled(9, 9, orange);
  EXPECT_EQ(PixmanImageCoding().scaled(image, 9, 9).pixels, image.pixels);
}

}  // namespace
}  // namespace tavik
