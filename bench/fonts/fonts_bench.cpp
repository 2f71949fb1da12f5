// What fonts and the size of a text cost, the latter next to Pango's own layout of the same text with fonts that it
// keeps.
//
//   bench_fonts [--short]
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <fontconfig/fontconfig.h>
#include <pango/pangoft2.h>

#include <JorvaneFoundation/fonts/NSFont.h>
#include <JorvaneFoundation/fonts/NSString.h>

#include "support/report.h"

namespace {

using namespace JVFoundation;
using jv::bench::Who;
using Clock = std::chrono::steady_clock;

constexpr double kSize = 12;
constexpr double kWidth = 300;

/// Microseconds of a call, from @p calls of them.
jv::bench::Measure averageOf(int calls, std::function<void()> call) {
  return [=, all = jv::bench::microsecondsOf([=] {
               for (int i = 0; i < calls; ++i) call();
             })] { return *all() / calls; };
}

/// What is kept, so that no call can be left out.
volatile double sink;

/// Pango as an application uses it by hand: one font map, a layout for each text.
class Floor {
 public:
  explicit Floor(const char* family) : fonts_(pango_ft2_font_map_new()) {
    pango_ft2_font_map_set_resolution(PANGO_FT2_FONT_MAP(fonts_), 72, 72);
    context_ = pango_font_map_create_context(fonts_);
    pango_context_set_round_glyph_positions(context_, FALSE);
    description_ = pango_font_description_new();
    pango_font_description_set_family(description_, family);
    pango_font_description_set_absolute_size(description_, kSize * PANGO_SCALE);
  }
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;
  ~Floor() {
    pango_font_description_free(description_);
    g_object_unref(context_);
    g_object_unref(fonts_);
  }

  [[nodiscard]] double height(std::string_view text) const {
    PangoLayout* const layout = pango_layout_new(context_);
    pango_layout_set_font_description(layout, description_);
    pango_layout_set_width(layout, static_cast<int>(kWidth * PANGO_SCALE));
    pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    pango_layout_set_text(layout, text.data(), static_cast<int>(text.size()));
    PangoRectangle extents;
    pango_layout_get_extents(layout, nullptr, &extents);
    g_object_unref(layout);
    return static_cast<double>(extents.height) / PANGO_SCALE;
  }

 private:
  PangoFontMap* fonts_;
  PangoContext* context_;
  PangoFontDescription* description_;
};

std::string sentences(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += "The quick brown fox jumps over the lazy dog, and rests for a while. ";
  return text;
}

/// The files of the faces that bear a PostScript name, as fontconfig lists them.
void listByName(const std::string& name) {
  FcPattern* const wanted = FcPatternCreate();
  FcPatternAddString(wanted, FC_POSTSCRIPT_NAME, reinterpret_cast<const FcChar8*>(name.c_str()));
  FcObjectSet* const objects = FcObjectSetBuild(FC_FILE, FC_INDEX, nullptr);
  FcFontSet* const found = FcFontList(nullptr, wanted, objects);
  sink = found->nfont;
  FcFontSetDestroy(found);
  FcObjectSetDestroy(objects);
  FcPatternDestroy(wanted);
}

void measureFonts(const NSFont::Pointer& font, int turns) {
  constexpr int kMany = 10'000;
  constexpr int kFew = 20;
  const std::string name = font->fontName();
  const jv::bench::Subject subject("Fonts", "µs");
  subject.compare("asked for again",
                  {
                      {Who::kFloor, "copy of a shared pointer",
                       averageOf(kMany, [&] { sink = NSFont::Pointer(font)->pointSize(); })},
                      {Who::kOurs, "boldFont", averageOf(kMany, [&] { sink = font->boldFont()->pointSize(); })},
                      {Who::kOurs, "systemFontOfSize",
                       averageOf(kMany, [] { sink = NSFont::systemFontOfSize(kSize)->pointSize(); })},
                  },
                  turns);
  subject.compare(
      "a font by name",
      {
          {Who::kFloor, "fontconfig's list, by hand", averageOf(kFew, [&] { listByName(name); })},
          {Who::kOurs, "fontWithName", averageOf(kFew, [&] { sink = NSFont::fontWithName(name, kSize)->pointSize(); })},
          {Who::kOurs, "fontWithName and its boldFont",
           averageOf(kFew, [&] { sink = NSFont::fontWithName(name, kSize)->boldFont()->pointSize(); })},
      },
      turns);
}

void measureTexts(const NSFont::Pointer& font, int turns) {
  struct Case {
    const char* what;
    std::string text;
    int calls;
  };
  std::string paragraphs = sentences(6);
  for (int i = 0; i < 19; ++i) paragraphs.append(1, '\n').append(sentences(6));
  const Case cases[] = {{"a word", "Cancel", 500},
                        {"a paragraph of 400 characters", sentences(6), 20},
                        {"twenty of them", paragraphs, 2},
                        {"one of 8000 characters", sentences(120), 2}};
  const Floor floor(font->familyName().c_str());
  const TextAttributes attributes{{NSFontAttributeName, font}};
  const jv::bench::Subject subject("The size of a text", "µs");
  for (const Case& c : cases) {
    subject.compare(c.what,
                    {{Who::kFloor, "Pango's layout, by hand", averageOf(c.calls, [&] { sink = floor.height(c.text); })},
                     {Who::kOurs, "sizeWithWidth",
                      averageOf(c.calls, [&] { sink = NSString::sizeWithWidth(c.text, kWidth, attributes).height; })}},
                    turns);
  }
}

/// Calls a second of @p call on @p count threads together.
double rate(std::size_t count, int calls, const std::function<void()>& call) {
  std::vector<double> seconds(count);
  std::vector<std::jthread> threads;
  for (double& own : seconds) {
    threads.emplace_back([&own, calls, &call] {
      call();  // opens the thread's fonts
      const auto start = Clock::now();
      for (int i = 0; i < calls; ++i) call();
      own = std::chrono::duration<double>(Clock::now() - start).count();
    });
  }
  threads.clear();
  double sum = 0;
  for (const double own : seconds) sum += calls / own;
  return sum;
}

void measureThreads(const NSFont::Pointer& font, int calls) {
  const std::string text = sentences(6);
  const TextAttributes attributes{{NSFontAttributeName, font}};
  std::putchar('\n');
  for (std::size_t threads = 1; threads <= std::max(2U, std::thread::hardware_concurrency()); threads *= 2) {
    const double variants = rate(threads, 1000 * calls, [&font] {
      thread_local const NSFont::Pointer own = NSFont::fontWithName(font->fontName(), kSize);
      (void)own->boldFont();
    });
    const double texts = rate(threads, calls, [&] { (void)NSString::sizeWithWidth(text, kWidth, attributes); });
    std::printf(
        "- On %zu thread%s: %.1f kept variants of fonts of their own a µs, %.1f texts of 400 characters a ms.\n",
        threads, threads == 1 ? "" : "s", variants / 1e6, texts / 1e3);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool isShort = argc > 1 && std::string_view(argv[1]) == "--short";
  FcInit();
  const NSFont::Pointer font = NSFont::systemFontOfSize(kSize);
  if (!font) {
    std::fputs("There are no fonts.\n", stderr);
    return 1;
  }
  std::printf("\nWith %s.\n", font->displayName().c_str());
  measureFonts(font, isShort ? 5 : 51);
  measureTexts(font, isShort ? 5 : 51);
  measureThreads(font, isShort ? 50 : 2000);
}
