// The picture of a window of 1,000 by 700 points on its way to the model: scaled so
// that its shorter side has 768 pixels, and encoded.

#include <benchmark/benchmark.h>

#include "Backends/Linux/Windows/PixmanImageCoding.h"

namespace tavik {
namespace {

/// Something like a window: bars of colour with fine lines of text.
Image window(int width, int height) {
  Image image{width, height, width * 4, Bytes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4)};
  for (std::size_t i = 0; i < image.pixels.size(); i += 4) {
    const std::size_t x = i / 4 % static_cast<std::size_t>(width);
    const std::size_t y = i / 4 / static_cast<std::size_t>(width);
    const bool isText = y % 18 < 10 && (x * 7 + y * 13) % 11 < 4;
    const auto shade = static_cast<std::uint8_t>(isText ? 40 : y < 60 ? 200 : 250);
    image.pixels[i] = image.pixels[i + 1] = image.pixels[i + 2] = shade;
    image.pixels[i + 3] = 255;
  }
  return image;
}

void scale(benchmark::State& state) {
  PixmanImageCoding coding;
  const Image image = window(1000, 700);
  for (auto _ : state) benchmark::DoNotOptimize(coding.scaled(image, 1098, 768));
}

void encode(benchmark::State& state) {
  PixmanImageCoding coding;
  const Image image = coding.scaled(window(1000, 700), 1098, 768);
  for (auto _ : state) benchmark::DoNotOptimize(coding.encodePNG(image));
}

BENCHMARK(scale)->Unit(benchmark::kMillisecond);
BENCHMARK(encode)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tavik

BENCHMARK_MAIN();
