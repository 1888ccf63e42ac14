#include "Backends/Linux/Windows/X11ImageReader.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

namespace tavik {

namespace {

constexpr std::uint32_t allPlanes = 0xFFFFFFFF;
constexpr int bytesPerPixel = 4;

bool storesFourBytes(X11Session& session, int depth) {
  const xcb_setup_t* setup = xcb_get_setup(session.connection());
  if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) return false;
  for (auto format = xcb_setup_pixmap_formats_iterator(setup); format.rem > 0; xcb_format_next(&format)) {
    if (format.data->depth == depth) return format.data->bits_per_pixel == 8 * bytesPerPixel;
  }
  return false;
}

void makeOpaque(Image& image) {
  for (std::size_t alpha = 3; alpha < image.pixels.size(); alpha += bytesPerPixel) image.pixels[alpha] = 0xFF;
}

}  // namespace

std::unique_ptr<X11SharedMemory> X11SharedMemory::create(X11Session& session, std::size_t size) {
  int file = memfd_create("tavik-window-image", MFD_CLOEXEC);
  if (file < 0) return nullptr;
  if (ftruncate(file, static_cast<off_t>(size)) != 0) {
    close(file);
    return nullptr;
  }
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) {
    close(file);
    return nullptr;
  }
  std::unique_ptr<X11SharedMemory> shared(new X11SharedMemory(memory, size));
  shared->segment_ = xcb_generate_id(session.connection());
  // Sending the descriptor gives it away.
  xcb_void_cookie_t cookie = xcb_shm_attach_fd_checked(session.connection(), shared->segment_, file, 0);
  XCBReply<xcb_generic_error_t> refusal(xcb_request_check(session.connection(), cookie));
  if (refusal || session.isBroken()) return nullptr;
  return shared;
}

X11SharedMemory::~X11SharedMemory() {
  munmap(memory_, size_);
}

std::optional<Image> X11ImageReader::read(X11Session& session, xcb_drawable_t drawable, PixelRect area) {
  if (area.width < 1 || area.height < 1) return std::nullopt;
  Image image{
      .width = area.width, .height = area.height, .bytesPerRow = area.width * bytesPerPixel, .pixels = {}};
  int depth = 0;
  if (!readShared(session, drawable, area, image, depth) &&
      !readPlain(session, drawable, area, image, depth)) {
    return std::nullopt;
  }
  if (!storesFourBytes(session, depth) || (depth != 24 && depth != 32)) return std::nullopt;
  if (depth == 24) makeOpaque(image);
  return image;
}

void X11ImageReader::forgetSession() {
  memory_.reset();
  sharingFailed_ = false;
}

bool X11ImageReader::readShared(X11Session& session, xcb_drawable_t drawable, PixelRect area, Image& image,
                                int& depth) {
  if (!session.extensions().sharedMemory || sharingFailed_) return false;
  std::size_t size = static_cast<std::size_t>(image.bytesPerRow) * static_cast<std::size_t>(image.height);
  if (memory_ == nullptr || memory_->size() < size) {
    if (memory_ != nullptr) xcb_shm_detach(session.connection(), memory_->segment());
    memory_ = X11SharedMemory::create(session, size);
    sharingFailed_ = memory_ == nullptr;
    if (sharingFailed_) return false;
  }
  auto answer = session.reply(
      xcb_shm_get_image_reply,
      xcb_shm_get_image(session.connection(), drawable, static_cast<std::int16_t>(area.x),
                        static_cast<std::int16_t>(area.y), static_cast<std::uint16_t>(area.width),
                        static_cast<std::uint16_t>(area.height), allPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP,
                        memory_->segment(), 0));
  if (!answer || answer->size < size) return false;
  depth = answer->depth;
  image.pixels.assign(memory_->bytes(), memory_->bytes() + size);
  return true;
}

bool X11ImageReader::readPlain(X11Session& session, xcb_drawable_t drawable, PixelRect area, Image& image,
                               int& depth) {
  auto answer = session.reply(
      xcb_get_image_reply, xcb_get_image(session.connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, drawable,
                                         static_cast<std::int16_t>(area.x), static_cast<std::int16_t>(area.y),
                                         static_cast<std::uint16_t>(area.width),
                                         static_cast<std::uint16_t>(area.height), allPlanes));
  if (!answer) return false;
  std::size_t size = static_cast<std::size_t>(image.bytesPerRow) * static_cast<std::size_t>(image.height);
  if (static_cast<std::size_t>(xcb_get_image_data_length(answer.get())) < size) return false;
  depth = answer->depth;
  const std::uint8_t* data = xcb_get_image_data(answer.get());
  image.pixels.assign(data, data + size);
  return true;
}

}  // namespace tavik
