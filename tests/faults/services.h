/// What is tried with each service.
#pragma once

#include <span>

#include "Attempt.h"

namespace faults {

std::span<const Service> services();

}  // namespace faults
