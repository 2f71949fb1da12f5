/// A window system whose displays are set beforehand.
#pragma once

#include <JorvaneFoundation/platform/Screens.h>

#include "support/installed.h"

#include <memory>
#include <utility>
#include <vector>

namespace jv::test {

class FakeScreens final : public JVPlatform::Screens {
 public:
  /// In use until the end of the scope.
  using Installed = jvtest::Installed<FakeScreens, JVPlatform::installScreens>;

  explicit FakeScreens(const std::vector<NSRect>& frames) { setFrames(frames); }

  void setFrames(const std::vector<NSRect>& frames) {
    list.clear();
    for (const NSRect& frame : frames) list.push_back(JVFoundation::NSScreen::create(frame));
  }

  List screens() override { return list; }

  List list;
};

}  // namespace jv::test
