#include <JorvaneFoundation/foundation/NSScreen.h>

#include <utility>

namespace JVFoundation {

std::shared_ptr<const NSScreen> NSScreen::create(NSRect frame, std::string name, double scale) {
  return std::shared_ptr<const NSScreen>(new NSScreen(frame, std::move(name), scale));
}

NSScreen::NSScreen(NSRect frame, std::string name, double scale)
    : frame_(frame), name_(std::move(name)), scale_(scale) {}

NSScreen::~NSScreen() = default;

NSRect NSScreen::frame() const noexcept { return frame_; }
const std::string& NSScreen::name() const noexcept { return name_; }
double NSScreen::scale() const noexcept { return scale_; }

}  // namespace JVFoundation
