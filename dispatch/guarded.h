/// The edge beyond which no exception of a handler gets.
#pragma once

#include <exception>

#include <JorvaneFoundation/foundation/NSException.h>

namespace jv {

/// Writes name and reason to standard error.
void reportUncaught(const JVFoundation::NSException& exception) noexcept;

/// Calls @p handler. An exception ends the process as one does that nobody catches: behind a handler lie worker threads
/// and the C code of foreign loops, which cannot be unwound. What an NSException::what() leaves out is written first.
template <class Handler>
void guarded(Handler&& handler) noexcept {
  try {
    handler();
  } catch (const JVFoundation::NSException& exception) {
    reportUncaught(exception);
    std::terminate();
  } catch (...) {
    std::terminate();  // noexcept alone would do so too, but g++ 12 then forgets which exception it was
  }
}

}  // namespace jv
