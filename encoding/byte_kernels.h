/// The byte sniffers' inner loops, once for every instruction set; the processor decides which run.
#pragma once

#include <cstddef>
#include <span>

#include "encoding/byte_reference.h"

namespace jv {

/// One set of inner loops. Each gives what the function of the same name in `jv::reference` gives.
struct ByteKernels {
  const char* name;
  bool (*isPossibleUTF8)(reference::Bytes);
  bool (*isPossibleUTF16)(reference::Bytes);
  bool (*containsHighASCII)(reference::Bytes);
  std::size_t (*plainPrefix)(reference::Bytes, std::size_t from);
  std::size_t (*findLineBreak)(reference::Bytes, std::size_t from);
};

/// The best set that this processor can run. Decided at the first question.
const ByteKernels& byteKernels();

/// All sets that this processor can run, the best one last.
std::span<const ByteKernels* const> runnableByteKernels();

}  // namespace jv
