/// How a class hands its name to the initializer that must not be used.
#pragma once

#include <string>

namespace JVFoundation {

/// Argument of the protected constructor through which a class whose plain initializer must not be used lets a derived
/// class raise under its own name:
///
///     Derived() : JVDispatch(JVFoundation::PlainInitializer{"Derived"}) {}
struct PlainInitializer {
  std::string className;  ///< the name that the exception's reason gives
};

}  // namespace JVFoundation
