#include "platform/KeychainMessages.h"

#include <algorithm>
#include <string_view>

namespace jv {
namespace {

using namespace JVPlatform;

struct Message {
  OSStatus status;
  std::string_view text;
};

// clang-format off
constexpr Message kMessages[] = {
    {errSecSuccess,               "No error."},
    {errSecDiskFull,              "There is no room left for the vault file. It is as it was."},
    {errSecIO,                    "The vault file cannot be read or written, or another process keeps it locked. It is as "
                                  "it was."},
    {errSecParam,                 "The keychain cannot store or look for what it was given."},
    {errSecWrPerm,                "The vault file or its folder belongs to another user or can be written by others. "
                                  "Make the folder's mode 0700 and the file's 0600."},
    {errSecAllocate,              "There is not enough memory."},
    {errSecUserCanceled,          "The keychain was not unlocked, because the request was refused."},
    {errSecInternalComponent,     "The password service gave an answer that is not understood."},
    {errSecNotAvailable,          "There is no password service, and nothing was stored. Start gnome-keyring, KWallet or "
                                  "KeePassXC on the session bus, or have the application open a vault file."},
    {errSecReadOnly,              "The keychain cannot be written to: it is read-only, or its disk is full or fails."},
    {errSecAuthFailed,            "Access to the keychain was refused: the key or passphrase is wrong, or a policy "
                                  "forbids it."},
    {errSecNoSuchKeychain,        "There is no such vault file."},
    {errSecInvalidKeychain,       "The vault file is damaged or is no vault. It is as it was; put back a copy of it."},
    {errSecDuplicateItem,         "The keychain has such an item already."},
    {errSecItemNotFound,          "The keychain has no such item."},
    {errSecNoSuchClass,           "The keychain answered with something other than items."},
    {errSecNoDefaultKeychain,     "There is no default keychain, and none can be made without a display to ask for its "
                                  "password on."},
    {errSecInteractionNotAllowed, "The keychain is locked: there is no display to ask for its password on, or the "
                                  "password service did not unlock it."},
    {errSecServiceNotAvailable,   "The password service ended or stopped answering, or the vault's folder could not be "
                                  "written to the disk. What was to be stored may or may not have been stored."},
};
// clang-format on

}  // namespace

std::optional<std::string> keychainMessage(OSStatus status) {
  const auto message = std::ranges::find(kMessages, status, &Message::status);
  if (message == std::end(kMessages)) return std::nullopt;
  return std::string(message->text);
}

}  // namespace jv
