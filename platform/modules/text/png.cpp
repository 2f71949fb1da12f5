#include "platform/modules/text/png.h"

#include <png.h>

namespace jv {

std::optional<std::vector<std::uint8_t>> pngOf(const GreyPicture& picture) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = picture.width;
  image.height = picture.height;
  image.format = PNG_FORMAT_GRAY;
  std::vector<std::uint8_t> file(PNG_IMAGE_PNG_SIZE_MAX(image));
  png_alloc_size_t size = file.size();
  const bool done = png_image_write_to_memory(&image, file.data(), &size, 0, picture.pixels.data(), 0, nullptr) != 0;
  png_image_free(&image);
  if (!done) return std::nullopt;
  file.resize(size);
  return file;
}

}  // namespace jv
