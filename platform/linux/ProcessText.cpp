#include "platform/linux/ProcessText.h"

#include <algorithm>
#include <cstdint>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace jv {
namespace {

constexpr std::size_t kLarge = 1024 * 1024;
constexpr std::size_t kGrowth = 8;
constexpr std::size_t kMovedAtOnce = 1024 * 1024;

/// Advises the system on the whole pages in these bytes. It may refuse.
void advise(char* begin, std::size_t size, int advice) {
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto first = (reinterpret_cast<std::uintptr_t>(begin) + page - 1) & ~(page - 1);
  const auto last = (reinterpret_cast<std::uintptr_t>(begin) + size) & ~(page - 1);
  if (first < last) madvise(reinterpret_cast<void*>(first), last - first, advice);
}

void moveTo(std::string& to, std::string& from) {
  for (std::size_t at = 0; at < from.size(); at += kMovedAtOnce) {
    const std::size_t size = std::min(kMovedAtOnce, from.size() - at);
    to.append(from, at, size);
    advise(from.data() + at, size, MADV_DONTNEED);  // given back at once: it reads as zero, and nobody does
  }
}

}  // namespace

void makeRoom(std::string& text, std::size_t more) {
  const std::size_t needed = text.size() + more;
  if (needed <= text.capacity()) return;
  if (needed <= kLarge) {
    text.reserve(std::max(needed, 2 * text.size()));
    return;
  }
  std::string roomier;
  try {
    roomier.reserve(kGrowth * needed);
  } catch (const std::exception&) {  // more than there is, or than a text can hold
    roomier.reserve(needed + needed / kGrowth);
  }
  advise(roomier.data(), roomier.capacity(), MADV_HUGEPAGE);  // to be touched once, from front to back
  moveTo(roomier, text);
  text = std::move(roomier);
}

}  // namespace jv
