#pragma once

#include <xcb/shm.h>

#include <cstddef>
#include <optional>

#include "Backends/Linux/Windows/X11Session.h"
#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// A rectangle of whole pixels.
struct PixelRect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

/// Memory that this process and the X server both see. Belongs to one session and
/// ends before it, or with it.
class X11SharedMemory {
 public:
  /// Null when the server cannot share memory with this process.
  static std::unique_ptr<X11SharedMemory> create(X11Session& session, std::size_t size);
  ~X11SharedMemory();
  X11SharedMemory(const X11SharedMemory&) = delete;
  X11SharedMemory& operator=(const X11SharedMemory&) = delete;

  xcb_shm_seg_t segment() const { return segment_; }
  const std::uint8_t* bytes() const { return static_cast<const std::uint8_t*>(memory_); }
  std::size_t size() const { return size_; }

 private:
  X11SharedMemory(void* memory, std::size_t size) : memory_(memory), size_(size) {}

  void* memory_;
  std::size_t size_;
  xcb_shm_seg_t segment_ = 0;
};

/// Copies pixels out of windows and pixmaps, through shared memory where the server
/// offers it. Call it where the session is held.
class X11ImageReader {
 public:
  /// Absent when the drawable has gone, does not cover the area, or has pixels of
  /// another kind than 8 bits a channel. Without an alpha channel all is opaque.
  std::optional<Image> read(X11Session& session, xcb_drawable_t drawable, PixelRect area);
  /// The session of the last call has ended.
  void forgetSession();

 private:
  bool readShared(X11Session& session, xcb_drawable_t drawable, PixelRect area, Image& image, int& depth);
  bool readPlain(X11Session& session, xcb_drawable_t drawable, PixelRect area, Image& image, int& depth);

  std::unique_ptr<X11SharedMemory> memory_;
  bool sharingFailed_ = false;
};

}  // namespace tavik
