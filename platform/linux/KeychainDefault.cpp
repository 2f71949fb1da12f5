// The keychain until another is installed: the desktop's password service, or none.
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <JorvaneFoundation/platform/Keychain.h>

#include "platform/BusModule.h"
#include "platform/Defaults.h"
#include "platform/linux/ModuleLoader.h"

namespace jv {
namespace {

using namespace JVPlatform;

/// Where the password service cannot even be asked. Stores nothing, finds nothing, and says why.
class NoKeychain final : public Keychain {
 public:
  explicit NoKeychain(std::string reason) : reason_(std::move(reason)) {}

  OSStatus SecItemCopyMatching(const JVFoundation::Dictionary&, const JVFoundation::Value** result) override {
    *result = nullptr;
    return kNone;
  }
  OSStatus SecKeychainFindInternetPassword(std::uint32_t, const char*, std::uint32_t, const char*, std::uint32_t,
                                           const char*, std::uint32_t, const char*, std::uint16_t, std::uint32_t,
                                           std::uint32_t, std::uint32_t*, void**, SecKeychainItemRef*) override {
    return kNone;
  }
  OSStatus SecKeychainAddInternetPassword(std::uint32_t, const char*, std::uint32_t, const char*, std::uint32_t,
                                          const char*, std::uint32_t, const char*, std::uint16_t, std::uint32_t,
                                          std::uint32_t, std::uint32_t, const void*, SecKeychainItemRef*) override {
    return kNone;
  }
  OSStatus SecKeychainFindGenericPassword(std::uint32_t, const char*, std::uint32_t, const char*, std::uint32_t*,
                                          void**, SecKeychainItemRef*) override {
    return kNone;
  }
  OSStatus SecKeychainAddGenericPassword(std::uint32_t, const char*, std::uint32_t, const char*, std::uint32_t,
                                         const void*, SecKeychainItemRef*) override {
    return kNone;
  }
  OSStatus SecKeychainItemModifyAttributesAndData(SecKeychainItemRef, std::span<const SecKeychainAttribute>,
                                                  std::uint32_t, const void*) override {
    return kNone;
  }
  OSStatus SecKeychainItemDelete(SecKeychainItemRef) override { return kNone; }
  OSStatus SecKeychainItemFreeContent(void*) override { return errSecSuccess; }
  void CFRelease(const JVFoundation::Value*) override {}
  void CFRelease(SecKeychainItemRef) override {}
  OSStatus SecKeychainGetStatus(KeychainState&) override { return kNone; }

  std::optional<std::string> SecCopyErrorMessageString(OSStatus status) const override {
    if (status != kNone) return Keychain::SecCopyErrorMessageString(status);
    return "Password services cannot be talked to, and nothing was stored: " + reason_ +
           ". Install what is missing, or have the application open a vault file.";
  }

 private:
  static constexpr OSStatus kNone = errSecNotAvailable;

  std::string reason_;
};

}  // namespace

std::shared_ptr<Keychain> makeKeychain() {
  const BusModule* const bus = module<BusModule>("bus");
  std::shared_ptr<Keychain> keychain = bus ? bus->makeKeychain() : nullptr;
  if (keychain) return keychain;
  return std::make_shared<NoKeychain>(bus ? "there is not enough memory" : moduleProblem("bus"));
}

}  // namespace jv
