#include "encoding/peers.h"

#include <memory>

#ifdef JV_BENCH_UCHARDET
#include <uchardet.h>
#endif
#ifdef JV_BENCH_ICU
#include <unicode/ucsdet.h>
#endif

namespace jv::bench {
namespace {

using Text = std::span<const std::uint8_t>;

[[maybe_unused]] const char* charactersOf(Text text) { return reinterpret_cast<const char*>(text.data()); }

Peer makeUchardet() {
  Peer peer{"uchardet", std::size_t{16} << 20, {}};
#ifdef JV_BENCH_UCHARDET
  const std::shared_ptr<uchardet> detector(uchardet_new(), uchardet_delete);
  peer.ask = [detector](Text text) -> std::string {
    uchardet_reset(detector.get());
    uchardet_handle_data(detector.get(), charactersOf(text), text.size());
    uchardet_data_end(detector.get());
    return uchardet_get_charset(detector.get());
  };
#endif
  return peer;
}

Peer makeICU() {
  Peer peer{"ICU", std::size_t{1} << 20, {}};
#ifdef JV_BENCH_ICU
  UErrorCode status = U_ZERO_ERROR;
  const std::shared_ptr<UCharsetDetector> detector(ucsdet_open(&status), ucsdet_close);
  peer.ask = [detector](Text text) -> std::string {
    UErrorCode error = U_ZERO_ERROR;
    ucsdet_setText(detector.get(), charactersOf(text), static_cast<std::int32_t>(text.size()), &error);
    const UCharsetMatch* match = ucsdet_detect(detector.get(), &error);
    return match == nullptr ? "" : ucsdet_getName(match, &error);
  };
#endif
  return peer;
}

}  // namespace

std::vector<Peer> peers() { return {makeUchardet(), makeICU()}; }

}  // namespace jv::bench
