#include "Base/Encoding/UUID.h"

#include <fmt/format.h>

#include <cstdint>
#include <random>

namespace tavik {

UUID UUID::make() {
  std::random_device device;
  auto word = [&] { return static_cast<std::uint64_t>(device()) << 32 | device(); };
  constexpr std::uint64_t versionMask = 0xF000, version4 = 0x4000;
  constexpr std::uint64_t variantMask = 0xC000000000000000, standardVariant = 0x8000000000000000;
  const std::uint64_t high = (word() & ~versionMask) | version4;
  const std::uint64_t low = (word() & ~variantMask) | standardVariant;
  return UUID(fmt::format("{:08X}-{:04X}-{:04X}-{:04X}-{:012X}", high >> 32, high >> 16 & 0xFFFF, high & 0xFFFF,
                          low >> 48, low & 0xFFFFFFFFFFFF));
}

}  // namespace tavik
