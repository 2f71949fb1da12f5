/// Reads the exported variable `key`.
#pragma once

namespace jv {

/// The address that `key` holds now.
const void* stopFlagKey() noexcept;

}  // namespace jv
