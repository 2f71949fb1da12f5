/// Where a font keeps one of its variants.
#pragma once

#include <atomic>
#include <memory>

#include <JorvaneFoundation/fonts/NSFont.h>

namespace jv {

/// Empty until a variant was computed, and then unchanged while the font lives. Threads that compute at the same time
/// all get what the first of them has put here. Reading takes no lock.
class VariantCache {
 public:
  using Pointer = JVFoundation::NSFont::Pointer;

  VariantCache() = default;
  VariantCache(const VariantCache&) = delete;
  VariantCache& operator=(const VariantCache&) = delete;
  ~VariantCache() { delete kept_.load(std::memory_order_relaxed); }

  /// The variant of @p font that is here, else what @p compute gives, which is kept unless it is null.
  template <class Compute>
  Pointer get(const JVFoundation::NSFont& font, Compute compute) {
    if (const Pointer* kept = kept_.load(std::memory_order_acquire)) return shared(font, *kept);
    Pointer computed = compute();
    if (!computed) return nullptr;
    // A font must not hold itself alive.
    auto fresh = std::make_unique<Pointer>(computed.get() == &font ? Pointer(Pointer(), &font) : std::move(computed));
    Pointer* kept = nullptr;
    if (kept_.compare_exchange_strong(kept, fresh.get(), std::memory_order_acq_rel)) kept = fresh.release();
    return shared(font, *kept);
  }

 private:
  static Pointer shared(const JVFoundation::NSFont& font, const Pointer& kept) {
    return kept.get() == &font ? font.shared_from_this() : kept;
  }

  std::atomic<Pointer*> kept_ = nullptr;
};

}  // namespace jv
