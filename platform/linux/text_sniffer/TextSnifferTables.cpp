#include "platform/linux/text_sniffer/TextSnifferTables.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <new>
#include <utility>

#include "platform/Defaults.h"
#include "platform/linux/text_sniffer/Scan.h"

namespace jv {
namespace {

using JVPlatform::OSStatus;
using sniffing::Bytes;
using sniffing::Counts;
using sniffing::Scan;

enum Status : OSStatus { kDone = 0, kBadArgument = 1, kUnknownEncoding = 2, kNoMemory = 3 };

// So much of the text stays in the first-level cache while one encoding after the other reads it.
constexpr std::size_t kBlock = std::size_t{32} * 1024;

// More than there are encodings, so that one group holds every sensible list. Longer ones take several passes.
constexpr std::size_t kTogether = 16;

bool knowsAll(std::span<const std::uint32_t> encodings) {
  return std::ranges::all_of(encodings, [](std::uint32_t encoding) { return Scan::of(encoding).has_value(); });
}

/// One pass over a text for all encodings of a group, a block at a time.
class Pass {
 public:
  Pass(Bytes text, std::uint64_t maxErrors, std::uint64_t maxFeatures, const JVPlatform::SniffHints& hints)
      : text_(text),
        start_(static_cast<std::size_t>(std::min<std::uint64_t>(hints.plainPrefix, text.size()))),
        maxErrors_(maxErrors),
        maxFeatures_(maxFeatures),
        errorFreeOnly_(hints.errorFreeOnly) {}

  void run(std::span<const std::uint32_t> encodings, std::span<std::uint64_t> errors,
           std::span<std::uint64_t> features) const {
    std::array<Scan, kTogether> scans;
    for (std::size_t i = 0; i < encodings.size(); ++i) scans[i] = *Scan::of(encodings[i], start_);
    scanAll({scans.data(), encodings.size()});
    for (std::size_t i = 0; i < encodings.size(); ++i) {
      errors[i] = std::min(scans[i].counts().errors, maxErrors_);
      features[i] = std::min(scans[i].counts().features, maxFeatures_);
    }
  }

 private:
  void scanAll(std::span<Scan> scans) const {
    const std::uint64_t errorLimit = errorFreeOnly_ ? 1 : std::numeric_limits<std::uint64_t>::max();
    bool going = true;
    for (std::size_t end = start_; going && end < text_.size();) {
      end += std::min(kBlock, text_.size() - end);
      going = false;
      for (Scan& scan : scans) {
        if (isSettled(scan.counts())) continue;
        scan.advance(text_, end, errorLimit);
        going = going || !isSettled(scan.counts());
      }
    }
  }

  /// Whether nothing that follows can change what is reported.
  [[nodiscard]] bool isSettled(const Counts& counts) const {
    return (errorFreeOnly_ && counts.errors > 0) || (counts.errors >= maxErrors_ && counts.features >= maxFeatures_);
  }

  Bytes text_;
  std::size_t start_;
  std::uint64_t maxErrors_;
  std::uint64_t maxFeatures_;
  bool errorFreeOnly_;
};

/// Fewest errors first, then most features. An insertion sort: it keeps ties in order and needs no memory.
void sortByFit(std::span<std::uint32_t> encodings, std::span<std::uint64_t> errors, std::span<std::uint64_t> features) {
  const auto fitsBetter = [&](std::size_t a, std::size_t b) {
    return errors[a] != errors[b] ? errors[a] < errors[b] : features[a] > features[b];
  };
  for (std::size_t next = 1; next < encodings.size(); ++next) {
    for (std::size_t i = next; i > 0 && fitsBetter(i, i - 1); --i) {
      std::swap(encodings[i], encodings[i - 1]);
      std::swap(errors[i], errors[i - 1]);
      std::swap(features[i], features[i - 1]);
    }
  }
}

}  // namespace

OSStatus TextSnifferTables::TECCreateSniffer(JVPlatform::TECSnifferObjectRef* sniffer,
                                             std::span<const std::uint32_t> encodings) {
  if (sniffer == nullptr) return kBadArgument;
  if (!knowsAll(encodings)) return kUnknownEncoding;
  // Nothing is kept between calls, so that any number of threads may share one sniffer.
  auto* made = new (std::nothrow) JVPlatform::TECSnifferObject;
  if (made == nullptr) return kNoMemory;
  *sniffer = made;
  return kDone;
}

OSStatus TextSnifferTables::TECSniffTextEncoding(JVPlatform::TECSnifferObjectRef sniffer,
                                                 std::span<const std::uint8_t> text, std::span<std::uint32_t> encodings,
                                                 std::span<std::uint64_t> errors, std::uint64_t maxErrors,
                                                 std::span<std::uint64_t> features, std::uint64_t maxFeatures,
                                                 const JVPlatform::SniffHints& hints) {
  const std::size_t count = encodings.size();
  if (sniffer == nullptr || errors.size() != count || features.size() != count) return kBadArgument;
  if (!knowsAll(encodings)) return kUnknownEncoding;
  const Pass pass(text, maxErrors, maxFeatures, hints);
  for (std::size_t first = 0; first < count; first += kTogether) {
    const std::size_t size = std::min(kTogether, count - first);
    pass.run(encodings.subspan(first, size), errors.subspan(first, size), features.subspan(first, size));
  }
  sortByFit(encodings, errors, features);
  return kDone;
}

OSStatus TextSnifferTables::TECDisposeSniffer(JVPlatform::TECSnifferObjectRef sniffer) {
  if (sniffer == nullptr) return kBadArgument;
  delete sniffer;
  return kDone;
}

std::shared_ptr<JVPlatform::TextSniffer> makeTextSniffer() { return std::make_shared<TextSnifferTables>(); }

}  // namespace jv
