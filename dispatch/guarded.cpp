#include "dispatch/guarded.h"

#include <cstdio>

namespace jv {

void reportUncaught(const JVFoundation::NSException& exception) noexcept {
  std::fprintf(stderr, "Uncaught exception %s: %s\n", exception.name().c_str(), exception.reason().c_str());
}

}  // namespace jv
