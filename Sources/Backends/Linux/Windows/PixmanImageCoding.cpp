#include "Backends/Linux/Windows/PixmanImageCoding.h"

#include <pixman.h>
#include <png.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace tavik {

namespace {

constexpr int bytesPerPixel = 4;
constexpr int fastestCompression = 1;
/// How far one pass shrinks.
constexpr int largestStep = 8;

struct UnrefPixman {
  void operator()(pixman_image_t* image) const { pixman_image_unref(image); }
};
using PixmanImage = std::unique_ptr<pixman_image_t, UnrefPixman>;

bool hasPixels(const Image& image) {
  if (image.width < 1 || image.height < 1 || image.bytesPerRow < image.width * bytesPerPixel) return false;
  std::size_t rowsBeforeLast = static_cast<std::size_t>(image.height) - 1;
  std::size_t needed = rowsBeforeLast * static_cast<std::size_t>(image.bytesPerRow) +
                       static_cast<std::size_t>(image.width) * bytesPerPixel;
  return image.pixels.size() >= needed;
}

Image blankImage(int width, int height) {
  Image image{.width = width, .height = height, .bytesPerRow = width * bytesPerPixel, .pixels = {}};
  image.pixels.resize(static_cast<std::size_t>(image.bytesPerRow) * static_cast<std::size_t>(height));
  return image;
}

/// Pixman works on rows of whole 32-bit words.
Image withWordRows(const Image& image) {
  if (image.bytesPerRow % bytesPerPixel == 0) return image;
  Image copy = blankImage(image.width, image.height);
  for (int row = 0; row < image.height; ++row) {
    std::memcpy(copy.pixels.data() + static_cast<std::ptrdiff_t>(row) * copy.bytesPerRow,
                image.pixels.data() + static_cast<std::ptrdiff_t>(row) * image.bytesPerRow,
                static_cast<std::size_t>(copy.bytesPerRow));
  }
  return copy;
}

PixmanImage wrap(Image& image) {
  return PixmanImage(pixman_image_create_bits(PIXMAN_a8r8g8b8, image.width, image.height,
                                              reinterpret_cast<std::uint32_t*>(image.pixels.data()),
                                              image.bytesPerRow));
}

/// Averages over the source pixels under each new one when shrinking; blends
/// between neighbours when growing.
void setFilter(pixman_image_t* source, double horizontalFactor, double verticalFactor) {
  auto reconstruct = [](double factor) { return factor > 1 ? PIXMAN_KERNEL_IMPULSE : PIXMAN_KERNEL_LINEAR; };
  auto sample = [](double factor) { return factor > 1 ? PIXMAN_KERNEL_BOX : PIXMAN_KERNEL_IMPULSE; };
  constexpr int subpixelBits = 4;
  int count = 0;
  pixman_fixed_t* parameters = pixman_filter_create_separable_convolution(
      &count, pixman_double_to_fixed(horizontalFactor), pixman_double_to_fixed(verticalFactor),
      reconstruct(horizontalFactor), reconstruct(verticalFactor), sample(horizontalFactor),
      sample(verticalFactor), subpixelBits, subpixelBits);
  if (parameters == nullptr) {
    pixman_image_set_filter(source, PIXMAN_FILTER_BILINEAR, nullptr, 0);
    return;
  }
  pixman_image_set_filter(source, PIXMAN_FILTER_SEPARABLE_CONVOLUTION, parameters, count);
  std::free(parameters);
}

std::uint8_t straight(std::uint8_t premultiplied, std::uint8_t alpha) {
  return static_cast<std::uint8_t>(std::min(255, (premultiplied * 255 + alpha / 2) / alpha));
}

bool isOpaque(const Image& image) {
  for (int row = 0; row < image.height; ++row) {
    const std::uint8_t* pixel = image.pixels.data() + static_cast<std::ptrdiff_t>(row) * image.bytesPerRow;
    for (int column = 0; column < image.width; ++column, pixel += bytesPerPixel) {
      if (pixel[3] != 0xFF) return false;
    }
  }
  return true;
}

/// One row in PNG's order, red first; with alpha only where the picture has any.
void convertRow(const std::uint8_t* from, int width, bool opaque, std::uint8_t* to) {
  for (int column = 0; column < width; ++column, from += bytesPerPixel) {
    std::uint8_t alpha = from[3];
    if (opaque) {
      *to++ = from[2];
      *to++ = from[1];
      *to++ = from[0];
      continue;
    }
    for (int channel : {2, 1, 0}) *to++ = alpha == 0 ? 0 : straight(from[channel], alpha);
    *to++ = alpha;
  }
}

void appendTo(png_structp encoder, png_bytep data, png_size_t size) {
  auto& bytes = *static_cast<Bytes*>(png_get_io_ptr(encoder));
  bytes.insert(bytes.end(), data, data + size);
}

void ignoreFlush(png_structp) {}

/// libpng reports failure by a jump; nothing with a destructor lives in here.
bool writePNG(png_structp encoder, png_infop info, const Image& image, bool opaque, std::uint8_t* row) {
  if (setjmp(png_jmpbuf(encoder)) != 0) return false;
  png_set_IHDR(encoder, info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height),
               8, opaque ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(encoder, fastestCompression);
  png_set_filter(encoder, 0, PNG_FILTER_NONE);
  png_write_info(encoder, info);
  for (int y = 0; y < image.height; ++y) {
    convertRow(image.pixels.data() + static_cast<std::ptrdiff_t>(y) * image.bytesPerRow, image.width, opaque,
               row);
    png_write_row(encoder, row);
  }
  png_write_end(encoder, info);
  return true;
}

}  // namespace

Image PixmanImageCoding::scaled(const Image& image, int width, int height) {
  if (image.width == width && image.height == height) return image;
  Image result = blankImage(width, height);
  if (!hasPixels(image)) return result;
  // The filter's weights are too coarse to share one pixel among very many.
  if (image.width > width * largestStep || image.height > height * largestStep) {
    auto step = [](int from, int to) { return std::max(to, (from + largestStep - 1) / largestStep); };
    return scaled(scaled(image, step(image.width, width), step(image.height, height)), width, height);
  }
  Image words = withWordRows(image);
  PixmanImage source = wrap(words), target = wrap(result);
  if (source == nullptr || target == nullptr) return result;

  double horizontalFactor = static_cast<double>(image.width) / width;
  double verticalFactor = static_cast<double>(image.height) / height;
  pixman_transform_t transform;
  pixman_transform_init_scale(&transform, pixman_double_to_fixed(horizontalFactor),
                              pixman_double_to_fixed(verticalFactor));
  pixman_image_set_transform(source.get(), &transform);
  pixman_image_set_repeat(source.get(), PIXMAN_REPEAT_PAD);
  setFilter(source.get(), horizontalFactor, verticalFactor);
  pixman_image_composite32(PIXMAN_OP_SRC, source.get(), nullptr, target.get(), 0, 0, 0, 0, 0, 0, width,
                           height);
  return result;
}

std::optional<Bytes> PixmanImageCoding::encodePNG(const Image& image) {
  if (!hasPixels(image)) return std::nullopt;
  png_structp encoder = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = encoder != nullptr ? png_create_info_struct(encoder) : nullptr;
  Bytes bytes;
  bool isWritten = false;
  if (info != nullptr) {
    std::vector<std::uint8_t> row(static_cast<std::size_t>(image.width) * bytesPerPixel);
    png_set_write_fn(encoder, &bytes, appendTo, ignoreFlush);
    isWritten = writePNG(encoder, info, image, isOpaque(image), row.data());
  }
  png_destroy_write_struct(&encoder, &info);
  if (!isWritten) return std::nullopt;
  return bytes;
}

}  // namespace tavik
