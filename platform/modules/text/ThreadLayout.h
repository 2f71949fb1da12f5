/// Pango's objects for the layouts of one thread.
#pragma once

#include <fontconfig/fontconfig.h>
#include <pango/pangoft2.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include <JorvaneFoundation/platform/TextLayout.h>

namespace jv {

template <class Object>
struct ObjectDeleter {
  void operator()(Object* object) const { g_object_unref(object); }
};
template <class Object>
using Owned = std::unique_ptr<Object, ObjectDeleter<Object>>;

/// Fonts are looked up and opened once, and stay for the thread's next text. That is most of what a layout costs.
class ThreadLayout {
 public:
  /// The calling thread's, in step with the fonts that are installed.
  static ThreadLayout& mine();

  /// Whether there is any font.
  [[nodiscard]] bool hasFonts() const { return hasFonts_; }

  /// How lines are set from now on. Sizes and widths are in units of the layout; more than the largest ones overflow in
  /// Pango.
  struct Setting {
    const JVPlatform::FontFace* face = nullptr;  ///< null: the default one
    double size = 0;
    double width = 0;  ///< infinite: lines break nowhere
    JVPlatform::NSTextAlignment alignment = JVPlatform::NSTextAlignment::natural;
  };
  static constexpr double kLargestSize = 256;
  static constexpr double kLargestWidth = 500'000;

  void begin(const Setting& setting);

  /// Is shown each line, the first one first: the line, its extents around its origin, and whether it is whole: a line
  /// that breaks nowhere, or can break nowhere, comes in pieces when it is very long, all but the last of which are
  /// not.
  using Visitor = std::function<void(PangoLayoutLine* line, const PangoRectangle& extents, bool whole)>;

  /// Sets @p text, valid UTF-8 without line ends, in lines.
  void setLine(std::string_view text, const Visitor& visit);

 private:
  ThreadLayout() = default;

  void followInstalledFonts();
  void makeAnew();
  void set(std::string_view text, std::optional<PangoDirection> direction);
  GSList* linesOf(std::string_view text, std::optional<PangoDirection> direction);
  [[nodiscard]] bool standInsHaveWidths() const;

  struct ConfigDeleter {
    void operator()(FcConfig* config) const { FcConfigDestroy(config); }
  };

  std::unique_ptr<FcConfig, ConfigDeleter> config_;
  std::chrono::steady_clock::time_point nextLook_;
  Owned<PangoFontMap> fonts_;
  Owned<PangoContext> context_;
  Owned<PangoLayout> layout_;
  bool hasFonts_ = false;
  Setting setting_;
};

}  // namespace jv
