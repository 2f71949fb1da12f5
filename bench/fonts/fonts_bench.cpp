// What fonts and the size of a text cost, the latter next to Pango's own layout of the same text with fonts that it
// keeps. The candidates take turns, so that whatever else the machine does strikes all of them; a row is the median and
// the best time.
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

namespace {

using namespace JVFoundation;
using Clock = std::chrono::steady_clock;

constexpr double kSize = 12;
constexpr double kWidth = 300;

struct Times {
  double median, best;  // microseconds a call
};

/// Times of each of @p candidates, in turns of @p calls calls.
std::vector<Times> measure(const std::vector<std::function<void()>>& candidates, int calls, int turns) {
  std::vector<std::vector<double>> all(candidates.size());
  for (int turn = 0; turn < turns; ++turn) {
    for (std::size_t i = 0; i < candidates.size(); ++i) {
      const auto start = Clock::now();
      for (int call = 0; call < calls; ++call) candidates[i]();
      all[i].push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count() / calls);
    }
  }
  std::vector<Times> results;
  for (std::vector<double>& times : all) {
    std::ranges::sort(times);
    results.push_back({times[times.size() / 2], times.front()});
  }
  return results;
}

void print(const char* what, const Times& times) {
  std::printf("| %s | %.3f | %.3f |\n", what, times.median, times.best);
}

/// What is kept, so that no call can be left out.
volatile double sink;

/// Pango as an application uses it by hand: one font map, a layout for each text.
class Peer {
 public:
  explicit Peer(const char* family) : fonts_(pango_ft2_font_map_new()) {
    pango_ft2_font_map_set_resolution(PANGO_FT2_FONT_MAP(fonts_), 72, 72);
    context_ = pango_font_map_create_context(fonts_);
    pango_context_set_round_glyph_positions(context_, FALSE);
    description_ = pango_font_description_new();
    pango_font_description_set_family(description_, family);
    pango_font_description_set_absolute_size(description_, kSize * PANGO_SCALE);
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer() {
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

void measureFonts(const NSFont& font, int turns) {
  const std::string name = font.fontName();
  std::printf("| | median, µs | best, µs |\n|---|---|---|\n");
  (void)font.boldFont();
  const auto cached = [&] { sink = font.boldFont()->pointSize(); };
  const auto first = [&] { sink = NSFont::fontWithName(name, kSize)->boldFont()->pointSize(); };
  const auto byName = [&] { sink = NSFont::fontWithName(name, kSize)->pointSize(); };
  const auto system = [&] { sink = NSFont::systemFontOfSize(kSize)->pointSize(); };
  print("a variant, kept", measure({cached}, 10'000, turns).front());
  const auto times = measure({byName, first, system}, 20, turns);
  print("a font by name", times[0]);
  print("the same and its first bold variant", times[1]);
  print("the system font", times[2]);
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
  const Peer peer(font->familyName().c_str());
  const TextAttributes attributes{{NSFontAttributeName, font}};
  std::printf(
      "\n| text | median, µs | best, µs | Pango, median | Pango, best | ratio of the medians |\n"
      "|---|---|---|---|---|---|\n");
  for (const Case& c : cases) {
    const auto ours = [&] { sink = NSString::sizeWithWidth(c.text, kWidth, attributes).height; };
    const auto theirs = [&] { sink = peer.height(c.text); };
    ours();
    theirs();
    const auto times = measure({ours, theirs}, c.calls, turns);
    std::printf("| %s | %.2f | %.2f | %.2f | %.2f | %.2f |\n", c.what, times[0].median, times[0].best, times[1].median,
                times[1].best, times[0].median / times[1].median);
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
  std::printf(
      "\n| threads | kept variants of fonts of their own, a µs | texts of 400 characters, a ms |\n|---|---|---|\n");
  for (std::size_t threads = 1; threads <= std::max(2U, std::thread::hardware_concurrency()); threads *= 2) {
    const double variants = rate(threads, 1000 * calls, [&font] {
      thread_local const NSFont::Pointer own = NSFont::fontWithName(font->fontName(), kSize);
      (void)own->boldFont();
    });
    const double texts = rate(threads, calls, [&] { (void)NSString::sizeWithWidth(text, kWidth, attributes); });
    std::printf("| %zu | %.1f | %.2f |\n", threads, variants / 1e6, texts / 1e3);
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
  std::printf("With %s.\n\n", font->displayName().c_str());
  measureFonts(*font, isShort ? 5 : 51);
  measureTexts(font, isShort ? 5 : 51);
  measureThreads(font, isShort ? 50 : 2000);
}
