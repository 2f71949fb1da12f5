#include <JorvaneFoundation/geometry/JVGeometry.h>

namespace {

bool isSmaller(NSSize size, NSSize room) { return size.height < room.height && size.width < room.width; }
bool isTooLarge(NSSize size, NSSize room) { return size.height > room.height || size.width > room.width; }

/// As large as fits into @p room, in the proportions of @p size. The order of the operations decides about the last bit
/// of the result, and about sizes of zero.
NSSize scaled(NSSize size, NSSize room) {
  const NSSize byWidth = {room.width, (size.height / size.width) * room.width};
  if (byWidth.height > room.height) return {(size.width / size.height) * room.height, room.height};
  return byWidth;
}

}  // namespace

NSRect JVGeometry::centeredRect(NSRect rect, NSRect container, bool scaleToFit, bool canScaleLarger) noexcept {
  const NSSize room = container.size;
  NSSize size = rect.size;
  if (scaleToFit && ((canScaleLarger && isSmaller(size, room)) || isTooLarge(size, room))) size = scaled(size, room);
  return {
      {container.origin.x + (room.width - size.width) * 0.5, container.origin.y + (room.height - size.height) * 0.5},
      size};
}

NSRect JVGeometry::centeredRect(NSRect rect, NSRect container, bool scaleToFit) noexcept {
  return centeredRect(rect, container, scaleToFit, false);
}
