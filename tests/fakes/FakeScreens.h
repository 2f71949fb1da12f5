/// A window system whose displays are set beforehand.
#pragma once

#include <JorvaneFoundation/platform/Screens.h>

#include <memory>
#include <utility>
#include <vector>

namespace jv::test {

class FakeScreens final : public JVPlatform::Screens {
 public:
  /// In use until the end of the scope.
  class Installed {
   public:
    explicit Installed(const std::vector<NSRect>& frames) : fake_(std::make_shared<FakeScreens>()) {
      fake_->setFrames(frames);
      before_ = JVPlatform::installScreens(fake_);
    }
    Installed(const Installed&) = delete;
    Installed& operator=(const Installed&) = delete;
    ~Installed() { JVPlatform::installScreens(std::move(before_)); }
    FakeScreens* operator->() const { return fake_.get(); }

   private:
    std::shared_ptr<FakeScreens> fake_;
    std::shared_ptr<Screens> before_;
  };

  void setFrames(const std::vector<NSRect>& frames) {
    list.clear();
    for (const NSRect& frame : frames) list.push_back(JVFoundation::NSScreen::create(frame));
  }

  List screens() override { return list; }

  List list;
};

}  // namespace jv::test
