// Holds the byte sniffers, in every set of kernels that the processor can run, against their plain forms.

#include <JorvaneFoundation/encoding/byte_sniffers.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "encoding/byte_kernels.h"
#include "encoding/byte_reference.h"
#include "support/input.h"
#include "support/line_breaks.h"

namespace {

namespace reference = jv::reference;
using jv::fuzz::Bytes;
using jv::fuzz::require;

void holdKernels(const jv::ByteKernels& kernels, Bytes text, std::size_t from) {
  const char* name = kernels.name;
  require(kernels.isPossibleUTF8(text) == reference::isPossibleUTF8(text), "isPossibleUTF8", name);
  require(kernels.isPossibleUTF16(text) == reference::isPossibleUTF16(text), "isPossibleUTF16", name);
  require(kernels.containsHighASCII(text) == reference::containsHighASCII(text), "containsHighASCII", name);
  require(kernels.plainPrefix(text, from) == reference::plainPrefix(text, from), "plainPrefix", name);
  require(kernels.findLineBreak(text, from) == reference::findLineBreak(text, from), "findLineBreak", name);
  const jv::LineFeeds counted = kernels.countLineFeeds(text, 21);
  const Bytes behind = text.first(counted.end);
  require(counted.count == std::ranges::count(behind, 0x0A), "countLineFeeds", name);
  require(std::ranges::count(behind, 0x0D) == 0, "countLineFeeds stops at carriage returns", name);
}

void holdExported(Bytes text) {
  const auto length = static_cast<std::int64_t>(text.size());
  require(isPossibleUTF8(text.data(), length) == reference::isPossibleUTF8(text), "isPossibleUTF8");
  require(isPossibleUTF16(text.data(), text.size()) == reference::isPossibleUTF16(text), "isPossibleUTF16");
  require(containsHighASCII(text.data(), text.size()) == reference::containsHighASCII(text), "containsHighASCII");
  require(sniffLineBreakType(text.data(), length) == jv::fuzz::lineBreakTypeOf(text), "sniffLineBreakType");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  jv::fuzz::Input input(data, size);
  const std::size_t offset = input.number() % 64;
  const std::size_t start = input.number(2);
  const jv::fuzz::ExactCopy copy(input.text(), offset);
  const Bytes text = copy.bytes();
  for (const jv::ByteKernels* kernels : jv::runnableByteKernels()) {
    holdKernels(*kernels, text, start % (text.size() + 1));
  }
  holdExported(text);
  return 0;
}
