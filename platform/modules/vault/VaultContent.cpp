#include "platform/modules/vault/VaultContent.h"

#include <cstddef>
#include <utility>

namespace jv {
namespace {

// An item is, with the least significant byte first: number, class, four texts, port, protocol, authentication type,
// label, password. Texts and passwords stand behind their length of four bytes. The items stand behind their number.

/// Says how many bytes come, so that the memory for them is taken in one piece, and then takes them.
class Writer {
 public:
  template <class Number>
  void number(Number value) {
    for (std::size_t at = 0; at < sizeof value; ++at) byte(static_cast<std::uint8_t>(value >> (8 * at)));
  }
  template <class Bytes>
  void bytes(const Bytes& some) {
    number(static_cast<std::uint32_t>(some.size()));
    for (const auto one : some) byte(static_cast<std::uint8_t>(one));
  }
  void startWriting() {
    written_->reserve(size_);
    isWriting_ = true;
  }
  SecretBytes release() { return std::move(written_); }

 private:
  void byte(std::uint8_t value) {
    if (isWriting_) {
      written_->push_back(value);
    } else {
      ++size_;
    }
  }

  SecretBytes written_;
  std::size_t size_ = 0;
  bool isWriting_ = false;
};

void write(Writer& writer, const VaultItems& items) {
  writer.number(static_cast<std::uint32_t>(items.size()));
  for (const VaultItem& item : items) {
    writer.number(item.number);
    writer.number(static_cast<std::uint8_t>(item.kind));
    for (const std::string* text : {&item.name, &item.account, &item.securityDomain, &item.path}) writer.bytes(*text);
    writer.number(item.port);
    writer.number(item.protocol);
    writer.number(item.authentication);
    writer.bytes(item.label);
    writer.bytes(*item.password);
  }
}

/// Takes pieces off the front. Once one is missing, all that follow are empty or 0.
class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) : left_(bytes) {}

  template <class Number>
  Number number() {
    Number value = 0;
    const auto taken = take(sizeof value);
    for (std::size_t at = 0; at < taken.size(); ++at) {
      value = static_cast<Number>(value | static_cast<Number>(taken[at]) << (8 * at));
    }
    return value;
  }
  std::span<const std::uint8_t> bytes() { return take(number<std::uint32_t>()); }
  std::string text() {
    const auto taken = bytes();
    return {taken.begin(), taken.end()};
  }

  [[nodiscard]] bool failed() const { return failed_; }
  [[nodiscard]] bool isAtEnd() const { return left_.empty(); }

 private:
  std::span<const std::uint8_t> take(std::size_t size) {
    if (failed_ || left_.size() < size) {
      failed_ = true;
      return {};
    }
    const auto taken = left_.first(size);
    left_ = left_.subspan(size);
    return taken;
  }

  std::span<const std::uint8_t> left_;
  bool failed_ = false;
};

std::optional<VaultItem> readItem(Reader& reader) {
  VaultItem item;
  item.number = reader.number<std::uint64_t>();
  const auto kind = reader.number<std::uint8_t>();
  item.kind = static_cast<ItemClass>(kind);
  for (std::string* text : {&item.name, &item.account, &item.securityDomain, &item.path}) *text = reader.text();
  item.port = reader.number<std::uint16_t>();
  item.protocol = reader.number<std::uint32_t>();
  item.authentication = reader.number<std::uint32_t>();
  item.label = reader.text();
  const auto password = reader.bytes();
  item.password->assign(password.begin(), password.end());
  const bool isKnown = item.kind == ItemClass::internet || item.kind == ItemClass::generic;
  if (reader.failed() || !isKnown) return std::nullopt;
  return item;
}

}  // namespace

SecretBytes encodeVaultItems(const VaultItems& items) {
  Writer writer;
  write(writer, items);
  writer.startWriting();
  write(writer, items);
  return writer.release();
}

std::optional<VaultItems> decodeVaultItems(std::span<const std::uint8_t> bytes) {
  Reader reader(bytes);
  VaultItems items;
  for (auto left = reader.number<std::uint32_t>(); left > 0; --left) {
    std::optional<VaultItem> item = readItem(reader);
    if (!item) return std::nullopt;
    items.push_back(std::move(*item));
  }
  if (reader.failed() || !reader.isAtEnd()) return std::nullopt;
  return items;
}

}  // namespace jv
