#include "platform/modules/fonts/FontconfigManager.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/modules/fonts/faces.h"
#include "platform/modules/fonts/metrics.h"

namespace jv {
namespace {

using JVPlatform::Font;
using JVPlatform::FontFace;
using JVPlatform::NSBoldFontMask;
using JVPlatform::NSFontTraitMask;
using JVPlatform::NSItalicFontMask;
using FacePointer = std::shared_ptr<const FontFace>;

constexpr int kRegular = 400;
constexpr int kBold = 700;
constexpr int kBoldFrom = 600;

bool isSize(double size) { return std::isfinite(size) && size > 0; }

NSFontTraitMask traitsOf(const FontFace& face) {
  return (face.weight >= kBoldFrom ? NSBoldFontMask : 0) | (face.italic ? NSItalicFontMask : 0);
}

/// The face of @p faces for which @p distance is least; null when there are none. Of equal ones, whatever the order in
/// which they are listed, named instances go before the variable font that has them, outlines before pictures, and then
/// the file's name decides.
template <class Distance>
const FontFace* nearest(const std::vector<ListedFace>& faces, Distance distance) {
  const auto rank = [&](const ListedFace& f) {
    return std::tuple(distance(f.face), f.variable, !f.scalable, std::string_view(f.face.file), f.face.index);
  };
  const auto best = std::ranges::min_element(faces, {}, rank);
  return best == faces.end() ? nullptr : &best->face;
}

/// How far a face is from plain: upright, normal width, regular weight; of two weights the heavier one is nearer.
auto distanceFromPlain(const FontFace& face) {
  return std::tuple(face.italic, std::abs(face.width - 100), std::abs(face.weight - kRegular), -face.weight);
}

/// Any thread. One lock guards what is kept of faces; fontconfig is asked outside it.
class FontconfigManager final : public JVPlatform::FontManager {
 public:
  std::optional<Font> fontWithName(std::optional<std::string_view> name, double size) override {
    if (!name || name->empty() || name->find('\0') != std::string_view::npos) return std::nullopt;
    return fontOf(size, [&] { return findFace(*name); });
  }

  std::optional<Font> systemFontOfSize(double size) override {
    return fontOf(size, [&] { return systemFaces().regular; });
  }

  std::optional<Font> boldSystemFontOfSize(double size) override {
    return fontOf(size, [&] { return systemFaces().bold; });
  }

  void setSystemFontFamily(std::string_view family) override {
    const std::lock_guard lock(mutex_);
    systemFamily_ = family;
    system_ = {};
  }

  std::optional<Font> convertFontToHaveTrait(const Font& font, NSFontTraitMask traits) override {
    return fontOf(font.pointSize, [&] { return convert(font.face, traitsOf(*font.face) | traits); });
  }

  std::optional<Font> convertFontToNotHaveTrait(const Font& font, NSFontTraitMask traits) override {
    return fontOf(font.pointSize, [&] { return convert(font.face, traitsOf(*font.face) & ~traits); });
  }

 private:
  struct SystemFaces {
    FacePointer regular;
    FacePointer bold;
  };

  /// What @p find gives, at @p size. No failure leaves here as an exception.
  template <class Find>
  static std::optional<Font> fontOf(double size, Find find) noexcept try {
    if (!isSize(size)) return std::nullopt;
    const FacePointer face = find();
    return face ? std::optional(Font{face, size}) : std::nullopt;
  } catch (...) {
    return std::nullopt;
  }

  FacePointer findFace(std::string_view name) {
    followInstalledFonts();
    for (const NameKind kind : {kPostScriptName, kFullName, kFamilyName}) {
      const std::vector<ListedFace> faces = facesNamed(kind, name);
      if (const FontFace* face = nearest(faces, distanceFromPlain)) return kept(*face);
    }
    return nullptr;
  }

  FacePointer convert(const FacePointer& face, NSFontTraitMask traits) {
    if (traitsOf(*face) == traits) return face;
    followInstalledFonts();
    std::vector<ListedFace> faces = facesNamed(kFamilyName, face->familyName);
    if (faces.empty()) return nullptr;
    std::erase_if(faces, [&](const ListedFace& f) {
      return traitsOf(f.face) != traits || std::abs(f.face.width - face->width) > 0.5;
    });
    // A light font stays light when it becomes italic.
    const NSFontTraitMask changed = traits ^ traitsOf(*face);
    const int wanted = (changed & NSBoldFontMask) == 0  ? face->weight
                       : (traits & NSBoldFontMask) != 0 ? kBold
                                                        : kRegular;
    const FontFace* best =
        nearest(faces, [&](const FontFace& f) { return std::tuple(std::abs(f.weight - wanted), -f.weight); });
    return best ? kept(*best) : face;
  }

  SystemFaces systemFaces() {
    followInstalledFonts();
    std::unique_lock lock(mutex_);
    if (system_.regular) return system_;
    const std::string family = systemFamily_;
    const FcConfig* const config = config_.get();
    lock.unlock();

    const SystemFaces found = findSystemFaces(family);
    lock.lock();
    if (systemFamily_ == family && config_.get() == config) system_ = found;
    return found;
  }

  SystemFaces findSystemFaces(const std::string& family) {
    std::vector<std::string> families{"system-ui", "sans-serif"};
    if (!family.empty()) families.insert(families.begin(), family);
    const Match match = matchRegular(families);
    std::vector<ListedFace> faces = facesNamed(kFamilyName, match.family);
    std::erase_if(faces, [&](const ListedFace& f) { return f.face.file != match.file; });
    const FontFace* regular = nearest(faces, distanceFromPlain);
    if (!regular) return {};
    const FacePointer face = kept(*regular);
    if (!face) return {};
    return {face, convert(face, traitsOf(*face) | NSBoldFontMask)};
  }

  /// Forgets what is kept when fonts came or went, which fontconfig looks after as often as its configuration says.
  void followInstalledFonts() {
    FcInitBringUptoDate();
    const std::lock_guard lock(mutex_);
    if (FcConfigGetCurrent() == config_.get()) return;
    config_.reset(FcConfigReference(nullptr));  // held, so that another one cannot get its address
    faces_.clear();
    system_ = {};
  }

  /// The one object for @p listed, with its line metrics; null when its file cannot be read, now.
  FacePointer kept(const FontFace& listed) {
    const std::lock_guard lock(mutex_);
    const std::pair key(listed.file, listed.index);
    if (const auto known = faces_.find(key); known != faces_.end()) return known->second;
    const auto metrics = lineMetricsOf(listed.file, listed.index);
    if (!metrics) return nullptr;
    auto face = std::make_shared<FontFace>(listed);
    face->ascender = metrics->ascender;
    face->descender = metrics->descender;
    face->leading = metrics->leading;
    return faces_.emplace(key, std::move(face)).first->second;
  }

  std::mutex mutex_;
  Fontconfig<FcConfig> config_;
  std::map<std::pair<std::string, int>, FacePointer> faces_;  // by file and index
  std::string systemFamily_;
  SystemFaces system_;
};

}  // namespace

std::shared_ptr<JVPlatform::FontManager> makeFontconfigManager() noexcept try {
  if (!FcInit()) return nullptr;
  return std::make_shared<FontconfigManager>();
} catch (...) {
  return nullptr;
}

}  // namespace jv
