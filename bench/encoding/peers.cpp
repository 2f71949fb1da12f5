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

#ifdef JV_BENCH_UCHARDET
Peer makeUchardet() {
  const std::shared_ptr<uchardet> detector(uchardet_new(), uchardet_delete);
  return {"uchardet", std::size_t{16} << 20, [detector](Text text) -> std::string {
            uchardet_reset(detector.get());
            uchardet_handle_data(detector.get(), charactersOf(text), text.size());
            uchardet_data_end(detector.get());
            return uchardet_get_charset(detector.get());
          }};
}
#endif

#ifdef JV_BENCH_ICU
Peer makeICU() {
  UErrorCode status = U_ZERO_ERROR;
  const std::shared_ptr<UCharsetDetector> detector(ucsdet_open(&status), ucsdet_close);
  return {"ICU", std::size_t{1} << 20, [detector](Text text) -> std::string {
            UErrorCode error = U_ZERO_ERROR;
            ucsdet_setText(detector.get(), charactersOf(text), static_cast<std::int32_t>(text.size()), &error);
            const UCharsetMatch* match = ucsdet_detect(detector.get(), &error);
            return match == nullptr ? "" : ucsdet_getName(match, &error);
          }};
}
#endif

}  // namespace

std::vector<Peer> peers() {
  std::vector<Peer> all;
#ifdef JV_BENCH_UCHARDET
  all.push_back(makeUchardet());
#endif
#ifdef JV_BENCH_ICU
  all.push_back(makeICU());
#endif
  return all;
}

}  // namespace jv::bench
