/// Owners of what the keychain hands out: each hands it back exactly once, on every path.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include <JorvaneFoundation/platform/Keychain.h>

namespace jv {

using JVPlatform::Keychain;
using JVPlatform::OSStatus;

/// The longest password that the keychain's interface can express.
inline constexpr std::size_t kMostBytes = std::numeric_limits<std::uint32_t>::max();

/// The answer to a query.
class QueryResult {
 public:
  explicit QueryResult(Keychain& keychain) : keychain_(keychain) {}
  QueryResult(const QueryResult&) = delete;
  QueryResult& operator=(const QueryResult&) = delete;
  ~QueryResult() {
    if (result_ != nullptr) keychain_.CFRelease(result_);
  }

  OSStatus find(const JVFoundation::Dictionary& query) { return keychain_.SecItemCopyMatching(query, &result_); }

  [[nodiscard]] bool isMissing() const { return result_ == nullptr; }
  /// The items' attributes; null when the keychain gave something else.
  [[nodiscard]] const JVFoundation::Value::Array* array() const { return result_ ? result_->array() : nullptr; }

 private:
  Keychain& keychain_;
  const JVFoundation::Value* result_ = nullptr;
};

/// A found or added item.
class ItemReference {
 public:
  explicit ItemReference(Keychain& keychain) : keychain_(keychain) {}
  ItemReference(const ItemReference&) = delete;
  ItemReference& operator=(const ItemReference&) = delete;
  ~ItemReference() {
    if (item_ != nullptr) keychain_.CFRelease(item_);
  }

  JVPlatform::SecKeychainItemRef* out() { return &item_; }

  /// Writes @p password, and @p label as its only attribute.
  OSStatus modify(std::string_view label, std::span<const std::uint8_t> password) {
    const JVPlatform::SecKeychainAttribute attribute{JVPlatform::kSecLabelItemAttr,
                                                     static_cast<std::uint32_t>(label.size()), label.data()};
    return keychain_.SecKeychainItemModifyAttributesAndData(
        item_, {&attribute, 1}, static_cast<std::uint32_t>(password.size()), password.data());
  }

 private:
  Keychain& keychain_;
  JVPlatform::SecKeychainItemRef item_ = nullptr;
};

/// A password that a lookup returned. A fresh one for each lookup, so that the length of an earlier one is never used.
class ReturnedBytes {
 public:
  explicit ReturnedBytes(Keychain& keychain) : keychain_(keychain) {}
  ReturnedBytes(const ReturnedBytes&) = delete;
  ReturnedBytes& operator=(const ReturnedBytes&) = delete;
  ~ReturnedBytes() {
    if (data_ != nullptr) keychain_.SecKeychainItemFreeContent(data_);
  }

  std::uint32_t* lengthOut() { return &length_; }
  void** dataOut() { return &data_; }

  [[nodiscard]] std::span<const std::uint8_t> bytes() const {
    if (data_ == nullptr) return {};
    return {static_cast<const std::uint8_t*>(data_), length_};
  }

 private:
  Keychain& keychain_;
  std::uint32_t length_ = 0;
  void* data_ = nullptr;
};

}  // namespace jv
