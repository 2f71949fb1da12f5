#include "platform/modules/text/ThreadLayout.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <mutex>
#include <shared_mutex>
#include <span>

#include "platform/modules/text/text_lines.h"

namespace jv {
namespace {

using JVPlatform::FontFace;
using JVPlatform::NSTextAlignment;

struct Width {
  double percent;
  PangoStretch stretch;
};
constexpr std::array kWidths{
    Width{50, PANGO_STRETCH_ULTRA_CONDENSED}, Width{63, PANGO_STRETCH_EXTRA_CONDENSED},
    Width{75, PANGO_STRETCH_CONDENSED},       Width{87, PANGO_STRETCH_SEMI_CONDENSED},
    Width{100, PANGO_STRETCH_NORMAL},         Width{113, PANGO_STRETCH_SEMI_EXPANDED},
    Width{125, PANGO_STRETCH_EXPANDED},       Width{150, PANGO_STRETCH_EXTRA_EXPANDED},
    Width{200, PANGO_STRETCH_ULTRA_EXPANDED},
};

PangoStretch stretchOf(double percent) {
  return std::ranges::min_element(kWidths, {}, [=](const Width& w) { return std::abs(w.percent - percent); })->stretch;
}

using Description = std::unique_ptr<PangoFontDescription, decltype(&pango_font_description_free)>;

Description descriptionOf(const FontFace* face, double size) {
  Description description(pango_font_description_new(), &pango_font_description_free);
  pango_font_description_set_family(description.get(), face ? face->familyName.c_str() : "system-ui,sans-serif");
  if (face) {
    pango_font_description_set_weight(description.get(), static_cast<PangoWeight>(face->weight));
    pango_font_description_set_stretch(description.get(), stretchOf(face->width));
    pango_font_description_set_style(description.get(), face->italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
  }
  // A size that no resolution is multiplied with.
  pango_font_description_set_absolute_size(description.get(), size * PANGO_SCALE);
  return description;
}

/// Pango would put a hyphen where it breaks a line within a word, and make room for it.
auto withoutHyphens() {
  std::unique_ptr<PangoAttrList, decltype(&pango_attr_list_unref)> list(pango_attr_list_new(), &pango_attr_list_unref);
  pango_attr_list_insert(list.get(), pango_attr_insert_hyphens_new(FALSE));
  return list;
}

PangoAlignment alignmentOf(NSTextAlignment alignment) {
  switch (alignment) {
    case NSTextAlignment::right:
      return PANGO_ALIGN_RIGHT;
    case NSTextAlignment::center:
      return PANGO_ALIGN_CENTER;
    default:
      return PANGO_ALIGN_LEFT;
  }
}

bool breaks(const ThreadLayout::Setting& setting) { return std::isfinite(setting.width); }

/// What is set at once where no line breaks. What marks on one letter cost grows with the square of their number.
constexpr std::size_t kUnbroken = std::size_t{4} << 10;

/// How many bytes of a font of @p size surely find room in @p width: no byte is wider than a tab's.
std::size_t bytesIn(double width, double size) {
  constexpr double kWidest = 8;  // times the size
  return static_cast<std::size_t>(std::max(width / (kWidest * size), 4.0));
}

constexpr double kWidestPiece = 2'000'000;  // in Pango's units an integer, just

/// How many bytes are set at a time. Pango looks at the whole rest of a paragraph for each line of it that breaks
/// within a word; so what a long paragraph costs would grow with the square of its length.
std::size_t pieceSizeFor(const ThreadLayout::Setting& setting) {
  std::size_t size = kUnbroken;
  if (breaks(setting)) {
    constexpr double kMostWork = 1 << 15;  // bytes times lines
    const double bytesInLine = std::max(2 * setting.width / setting.size, 1.0);
    size = static_cast<std::size_t>(std::clamp(std::sqrt(kMostWork * bytesInLine), 128.0, double{kUnbroken}));
  }
  return std::min(size, bytesIn(kWidestPiece, setting.size));
}

/// How many are set instead where @p size were not even one line.
std::size_t grown(std::size_t size, const ThreadLayout::Setting& setting) {
  return size + std::min(size, bytesIn(kWidestPiece - ThreadLayout::kLargestWidth, setting.size));
}

/// Whether @p bytes that have the extents @p extents are hardly anything but marks on a letter or two.
bool isPile(const PangoRectangle& extents, std::size_t bytes, double size) {
  constexpr double kNarrowest = 1.0 / 32;  // of the size, for a byte of a script that is written
  return bytes >= kUnbroken / 2 && extents.width < kNarrowest * size * PANGO_SCALE * static_cast<double>(bytes);
}

/// Whether all glyphs of @p run that stand for missing ones are as wide as they ought to be.
bool hasWidths(const PangoLayoutRun& run) {
  const std::span glyphs(run.glyphs->glyphs, static_cast<std::size_t>(run.glyphs->num_glyphs));
  const auto isStandIn = [](const PangoGlyphInfo& info) { return (info.glyph & PANGO_GLYPH_UNKNOWN_FLAG) != 0; };
  if (std::ranges::none_of(glyphs, isStandIn)) return true;
  const std::unique_ptr<PangoFontMetrics, decltype(&pango_font_metrics_unref)> metrics(
      pango_font_get_metrics(run.item->analysis.font, nullptr), &pango_font_metrics_unref);
  return pango_font_metrics_get_approximate_char_width(metrics.get()) > 0;
}

}  // namespace

ThreadLayout& ThreadLayout::mine() {
  thread_local ThreadLayout layout;
  layout.followInstalledFonts();
  return layout;
}

void ThreadLayout::followInstalledFonts() {
  // To its end before Pango has fontconfig started on a thread of its own.
  static const bool started = FcInit() == FcTrue;
  if (!started) return;
  const auto now = std::chrono::steady_clock::now();
  if (now >= nextLook_) {
    FcInitBringUptoDate();
    nextLook_ = now + std::chrono::seconds(1);
  }
  if (!layout_ || FcConfigGetCurrent() != config_.get()) makeAnew();
}

void ThreadLayout::makeAnew() {
  config_.reset(FcConfigReference(nullptr));  // held, so that another one cannot get its address
  layout_.reset();
  context_.reset();
  fonts_.reset(pango_ft2_font_map_new());
  // A point is a unit, whatever the desktop's screens are like.
  constexpr double kPointsInInch = 72;
  pango_ft2_font_map_set_resolution(PANGO_FT2_FONT_MAP(fonts_.get()), kPointsInInch, kPointsInInch);
  context_.reset(pango_font_map_create_context(fonts_.get()));
  // Rounded widths would break lines at other words.
  pango_context_set_round_glyph_positions(context_.get(), FALSE);
  layout_.reset(pango_layout_new(context_.get()));
  pango_layout_set_wrap(layout_.get(), PANGO_WRAP_WORD_CHAR);
  pango_layout_set_attributes(layout_.get(), withoutHyphens().get());
  const Owned<PangoFont> any(pango_context_load_font(context_.get(), descriptionOf(nullptr, 12).get()));
  hasFonts_ = any != nullptr;
}

void ThreadLayout::begin(const Setting& setting) {
  setting_ = setting;
  PangoLayout* const layout = layout_.get();
  pango_layout_set_font_description(layout, descriptionOf(setting.face, setting.size).get());
  pango_layout_set_width(layout, breaks(setting) ? static_cast<int>(setting.width * PANGO_SCALE) : -1);
  pango_layout_set_alignment(layout, alignmentOf(setting.alignment));
  pango_layout_set_justify(layout, setting.alignment == NSTextAlignment::justified);
}

/// Whether the lines of the layout are right where they have stand-ins for missing glyphs. Pango computes the width of
/// these when a font first needs one, and it becomes 0, for as long as the font is kept, when another thread is just at
/// the same with a font of its own: a mark against recursion belongs to all threads.
bool ThreadLayout::standInsHaveWidths() const {
  if (pango_layout_get_unknown_glyphs_count(layout_.get()) == 0) return true;
  for (GSList* line = pango_layout_get_lines_readonly(layout_.get()); line; line = line->next) {
    for (GSList* run = static_cast<PangoLayoutLine*>(line->data)->runs; run; run = run->next) {
      if (!hasWidths(*static_cast<PangoLayoutRun*>(run->data))) return false;
    }
  }
  return true;
}

void ThreadLayout::set(std::string_view text, std::optional<PangoDirection> direction) {
  pango_context_set_base_dir(context_.get(), direction.value_or(PANGO_DIRECTION_WEAK_LTR));
  pango_layout_set_auto_dir(layout_.get(), !direction);
  pango_layout_set_text(layout_.get(), text.data(), static_cast<int>(text.size()));
}

/// The lines of @p text, which belong to the layout until the next. Without @p direction it has that of its first
/// letter. Threads lay out side by side; one that got in another's way does it again alone, however long the other is
/// kept from its processor.
GSList* ThreadLayout::linesOf(std::string_view text, std::optional<PangoDirection> direction) {
  static std::shared_mutex room;
  static std::mutex door;  // who wants the room alone keeps it shut for those who come later
  {
    std::unique_lock entering(door);
    const std::shared_lock amongOthers(room);
    entering.unlock();
    set(text, direction);
    if (standInsHaveWidths()) return pango_layout_get_lines_readonly(layout_.get());
  }
  const std::lock_guard entering(door);
  const std::lock_guard alone(room);
  constexpr int kTries = 20;  // the application may be at the same without us
  for (int i = 0; i < kTries && !standInsHaveWidths(); ++i) {
    makeAnew();
    begin(setting_);
    set(text, direction);
  }
  return pango_layout_get_lines_readonly(layout_.get());
}

void ThreadLayout::setLine(std::string_view text, const Visitor& visit) {
  const bool breaking = breaks(setting_);
  std::optional<PangoDirection> direction;
  for (std::size_t size = pieceSizeFor(setting_);;) {
    const std::string_view piece = beginningOf(text, size);
    const bool last = piece.size() == text.size();
    GSList* lines = linesOf(piece, direction);
    const bool broken = lines->next;
    bool full = false;  // tabs go on beyond the line's end, however many
    PangoRectangle extents;
    if (breaking && !last && !broken) {
      pango_layout_line_get_extents(static_cast<PangoLayoutLine*>(lines->data), nullptr, &extents);
      full = extents.width > setting_.width * PANGO_SCALE && piece.ends_with('\t');
      if (!full && !isPile(extents, piece.size(), setting_.size)) {
        size = grown(size, setting_);
        continue;
      }
    }
    // All pieces run in the direction of the first.
    direction = static_cast<PangoDirection>(static_cast<PangoLayoutLine*>(lines->data)->resolved_dir);
    std::size_t used = piece.size();
    for (; lines; lines = lines->next) {
      auto* const line = static_cast<PangoLayoutLine*>(lines->data);
      if (broken && !last && !lines->next) {
        used = static_cast<std::size_t>(line->start_index);  // it may go on in the next piece
        break;
      }
      pango_layout_line_get_extents(line, nullptr, &extents);
      visit(line, extents, broken || full || last);
    }
    if (last) break;
    text.remove_prefix(used);
    if (full) text.remove_prefix(std::min(text.find_first_not_of('\t'), text.size()));
    if (text.empty()) break;
    size = pieceSizeFor(setting_);
  }
  pango_layout_set_text(layout_.get(), "", 0);  // nothing of the text is kept
}

}  // namespace jv
