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

/// Gives the memory of the whole pages in these bytes back; they stay addressable and read as zero.
void forgetPages(char* begin, std::size_t size) {
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto first = (reinterpret_cast<std::uintptr_t>(begin) + page - 1) & ~(page - 1);
  const auto last = (reinterpret_cast<std::uintptr_t>(begin) + size) & ~(page - 1);
  if (first < last) madvise(reinterpret_cast<void*>(first), last - first, MADV_DONTNEED);
}

void moveTo(std::string& to, std::string& from) {
  for (std::size_t at = 0; at < from.size(); at += kMovedAtOnce) {
    const std::size_t size = std::min(kMovedAtOnce, from.size() - at);
    to.append(from, at, size);
    forgetPages(from.data() + at, size);
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
  moveTo(roomier, text);
  text = std::move(roomier);
}

}  // namespace jv
