#include "platform/modules/fonts/faces.h"

#include <cmath>
#include <new>
#include <optional>

namespace jv {
namespace {

using JVPlatform::FontFace;

template <class Object>
Fontconfig<Object> owned(Object* object) {
  if (!object) throw std::bad_alloc();
  return Fontconfig<Object>(object);
}

/// The text number @p n under @p object, or none. With several languages the user's comes first.
std::optional<std::string_view> textIn(const FcPattern* pattern, const char* object, int n = 0) {
  FcChar8* text = nullptr;
  if (FcPatternGetString(pattern, object, n, &text) != FcResultMatch) return std::nullopt;
  return reinterpret_cast<const char*>(text);
}

std::string textOr(const FcPattern* pattern, const char* object, std::string_view otherwise) {
  return std::string(textIn(pattern, object).value_or(otherwise));
}

/// A number; @p otherwise stands for a missing one, and for the range of a variable font.
double numberOr(const FcPattern* pattern, const char* object, double otherwise) {
  double number = otherwise;
  return FcPatternGetDouble(pattern, object, 0, &number) == FcResultMatch ? number : otherwise;
}

bool isTrue(const FcPattern* pattern, const char* object, bool otherwise) {
  FcBool value = FcFalse;
  return FcPatternGetBool(pattern, object, 0, &value) == FcResultMatch ? value == FcTrue : otherwise;
}

bool bearsName(const FcPattern* pattern, NameKind kind, std::string_view name) {
  for (int n = 0;; ++n) {
    const auto text = textIn(pattern, kind.object, n);
    if (!text || *text == name) return text.has_value();
  }
}

/// What a face without a full name is called: the family, and the style unless it is the usual one.
std::string nameOfFamilyAndStyle(const FcPattern* pattern) {
  const std::string family = textOr(pattern, FC_FAMILY, "");
  const std::string style = textOr(pattern, FC_STYLE, "Regular");
  return style == "Regular" || style == "Book" || style == "Roman" ? family : family + " " + style;
}

ListedFace listedFace(const FcPattern* pattern) {
  ListedFace listed;
  FontFace& face = listed.face;
  face.displayName = textOr(pattern, FC_FULLNAME, nameOfFamilyAndStyle(pattern));
  face.postScriptName = textOr(pattern, FC_POSTSCRIPT_NAME, face.displayName);
  face.familyName = textOr(pattern, FC_FAMILY, "");
  const double weight = numberOr(pattern, FC_WEIGHT, FC_WEIGHT_REGULAR);
  face.weight = static_cast<int>(std::lround(FcWeightToOpenTypeDouble(weight)));
  face.width = numberOr(pattern, FC_WIDTH, FC_WIDTH_NORMAL);
  face.italic = numberOr(pattern, FC_SLANT, FC_SLANT_ROMAN) >= FC_SLANT_ITALIC;
  face.file = textOr(pattern, FC_FILE, "");
  FcPatternGetInteger(pattern, FC_INDEX, 0, &face.index);
  constexpr int kVariableMark = static_cast<int>(0x80000000U);  // fontconfig's own, which FreeType does not know
  face.index &= ~kVariableMark;
  listed.variable = isTrue(pattern, FC_VARIABLE, false);
  listed.scalable = isTrue(pattern, FC_SCALABLE, true);
  return listed;
}

const FcChar8* bytesOf(const std::string& text) { return reinterpret_cast<const FcChar8*>(text.c_str()); }

}  // namespace

std::vector<ListedFace> facesNamed(NameKind kind, std::string_view name) {
  const auto wanted = owned(FcPatternCreate());
  FcPatternAddString(wanted.get(), kind.object, bytesOf(std::string(name)));
  const auto objects = owned(FcObjectSetBuild(FC_FILE, FC_INDEX, FC_POSTSCRIPT_NAME, FC_FULLNAME, FC_FULLNAMELANG,
                                              FC_FAMILY, FC_FAMILYLANG, FC_STYLE, FC_STYLELANG, FC_WEIGHT, FC_WIDTH,
                                              FC_SLANT, FC_VARIABLE, FC_SCALABLE, static_cast<const char*>(nullptr)));
  const auto fonts = owned(FcFontList(nullptr, wanted.get(), objects.get()));
  std::vector<ListedFace> faces;
  for (int i = 0; i < fonts->nfont; ++i) {
    // Fontconfig compares without regard to case and blanks.
    if (bearsName(fonts->fonts[i], kind, name)) faces.push_back(listedFace(fonts->fonts[i]));
  }
  return faces;
}

Match matchRegular(const std::vector<std::string>& families) {
  const auto pattern = owned(FcPatternCreate());
  // One by one: a name that is parsed ends at its first hyphen.
  for (const std::string& family : families) FcPatternAddString(pattern.get(), FC_FAMILY, bytesOf(family));
  FcConfigSubstitute(nullptr, pattern.get(), FcMatchPattern);
  FcDefaultSubstitute(pattern.get());
  FcResult result = FcResultMatch;
  const Fontconfig<FcPattern> match(FcFontMatch(nullptr, pattern.get(), &result));
  if (!match) return {};
  return {textOr(match.get(), FC_FILE, ""), textOr(match.get(), FC_FAMILY, "")};
}

}  // namespace jv
