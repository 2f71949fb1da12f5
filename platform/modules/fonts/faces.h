/// The faces that are installed, as fontconfig lists them.
#pragma once

#include <fontconfig/fontconfig.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <JorvaneFoundation/platform/FontManager.h>

namespace jv {

struct FontconfigDeleter {
  void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
  void operator()(FcObjectSet* objects) const { FcObjectSetDestroy(objects); }
  void operator()(FcFontSet* fonts) const { FcFontSetDestroy(fonts); }
  void operator()(FcConfig* config) const { FcConfigDestroy(config); }
};
template <class Object>
using Fontconfig = std::unique_ptr<Object, FontconfigDeleter>;

/// A face without its line metrics, which would have to be read from the file.
struct ListedFace {
  JVPlatform::FontFace face;
  bool variable = false;  ///< all of a variable font, not one of the instances that it names
  bool scalable = true;
};

/// Which text of a face a name is compared with.
struct NameKind {
  const char* object;  ///< as fontconfig calls it
};
inline constexpr NameKind kPostScriptName{FC_POSTSCRIPT_NAME};
inline constexpr NameKind kFullName{FC_FULLNAME};
inline constexpr NameKind kFamilyName{FC_FAMILY};

/// All installed faces one of whose names of @p kind is exactly @p name, in whatever language that name is.
std::vector<ListedFace> facesNamed(NameKind kind, std::string_view name);

/// The file and family of the face that fontconfig's rules choose for the first of @p families that they can serve, in
/// regular style; an empty file when there is none. Rules may fake a style, so nothing else is told of it.
struct Match {
  std::string file;
  std::string family;
};
Match matchRegular(const std::vector<std::string>& families);

}  // namespace jv
