#include "system/main_loop_source.h"

#include <exception>

namespace jv {

std::optional<JVFoundation::NSRunLoop::Source> addToMainRunLoop(
    std::shared_ptr<JVPlatform::RunLoopSource> source) noexcept try {
  if (!source) return std::nullopt;
  const int descriptor = source->fileDescriptor();
  return JVFoundation::NSRunLoop::mainRunLoop().addSource(descriptor, [source] { source->perform(); });
} catch (const std::exception&) {
  return std::nullopt;
}

}  // namespace jv
