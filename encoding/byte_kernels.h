/// The byte sniffers' inner loops, once for every instruction set; the processor decides which run.
#pragma once

#include <cstddef>
#include <span>

#include "encoding/byte_reference.h"

namespace jv {

/// The line feeds at the front of a text.
struct LineFeeds {
  std::size_t end = 0;  ///< how far they are counted
  unsigned count = 0;
};

/// One set of inner loops. Each gives what the function of the same name in `jv::reference` gives, where there is one.
struct ByteKernels {
  const char* name;
  bool (*isPossibleUTF8)(reference::Bytes);
  bool (*isPossibleUTF16)(reference::Bytes);
  bool (*containsHighASCII)(reference::Bytes);
  std::size_t (*plainPrefix)(reference::Bytes, std::size_t from);
  std::size_t (*findLineBreak)(reference::Bytes, std::size_t from);
  /// Counts until there are @p enough or more, and never past a carriage return; may stop before one, or before the end.
  LineFeeds (*countLineFeeds)(reference::Bytes, unsigned enough);
};

/// The best set that this processor can run. Decided at the first question.
const ByteKernels& byteKernels();

/// All sets that this processor can run, the best one last.
std::span<const ByteKernels* const> runnableByteKernels();

}  // namespace jv
