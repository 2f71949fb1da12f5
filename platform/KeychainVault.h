/// A keychain in a file, for servers, containers and other places that have no password service.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSError.h>
#include <JorvaneFoundation/platform/Keychain.h>

namespace JVPlatform {

enum class VaultFile : std::uint8_t { mustExist, createIfMissing };

/// Opens the vault in the file at @p path. `installKeychain` then puts it in use, once, before passwords are read or
/// saved; nothing ever falls back to it by itself.
///
/// The file is encrypted and authenticated as a whole (XChaCha20-Poly1305). Each operation reads it anew; each change
/// writes a new file, has it reach the disk and puts it in the old one's place, so that the old or the new content is
/// there after a crash. Any number of processes may use it at once. Beside it stays an empty file NAME.lock.
///
/// @param path        a file in a folder that only this user can write to. With `createIfMissing` a missing file is
///                    made (mode 0600), and so is its folder (0700).
/// @param passphrase  stretched with Argon2id: opening takes about 100 ms and 64 MiB.
/// @param error       when given, written with none or with what is wrong: a wrong key, a damaged file, a file or
///                    folder that others own or can write to, no room. A file that was there is as it was.
/// @return  the keychain; null with an error.
JV_EXPORT std::shared_ptr<Keychain> openVault(std::string_view path, std::string_view passphrase, VaultFile file,
                                              std::optional<JVFoundation::NSError>* error = nullptr);

/// The same with a key: 32 bytes that nobody can guess.
JV_EXPORT std::shared_ptr<Keychain> openVault(std::string_view path, std::span<const std::uint8_t, 32> key,
                                              VaultFile file, std::optional<JVFoundation::NSError>* error = nullptr);

}  // namespace JVPlatform
