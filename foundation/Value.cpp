#include <JorvaneFoundation/foundation/Value.h>

#include <algorithm>
#include <utility>
#include <variant>

namespace JVFoundation {

struct Value::Storage {
  // In the order of Kind, behind the number.
  std::variant<std::string, Data, Array, Dictionary> content;
};

Value::Value(std::string text) : storage_(std::make_shared<const Storage>(std::move(text))) {}
Value::Value(std::string_view text) : Value(std::string(text)) {}
Value::Value(const char* text) : Value(std::string(text != nullptr ? text : "")) {}
Value::Value(Data data) : storage_(std::make_shared<const Storage>(std::move(data))) {}
Value::Value(Array array) : storage_(std::make_shared<const Storage>(std::move(array))) {}
Value::Value(Dictionary dictionary) : storage_(std::make_shared<const Storage>(std::move(dictionary))) {}

Value::Kind Value::kind() const noexcept {
  return storage_ ? static_cast<Kind>(storage_->content.index() + 1) : Kind::number;
}

template <class Content>
const Content* Value::content() const noexcept {
  return storage_ ? std::get_if<Content>(&storage_->content) : nullptr;
}

const NSNumber* Value::number() const noexcept { return storage_ ? nullptr : &number_; }
const std::string* Value::text() const noexcept { return content<std::string>(); }
const Value::Data* Value::data() const noexcept { return content<Data>(); }
const Value::Array* Value::array() const noexcept { return content<Array>(); }
const Dictionary* Value::dictionary() const noexcept { return content<Dictionary>(); }

const Value* Value::find(std::string_view key) const noexcept {
  const Dictionary* entries = dictionary();
  return entries != nullptr ? entries->find(key) : nullptr;
}

const NSNumber* Value::number(std::string_view key) const noexcept {
  const Value* value = find(key);
  return value != nullptr ? value->number() : nullptr;
}

const std::string* Value::text(std::string_view key) const noexcept {
  const Value* value = find(key);
  return value != nullptr ? value->text() : nullptr;
}

bool operator==(const Value& a, const Value& b) noexcept {
  if (a.storage_ == b.storage_) return a.storage_ || a.number_ == b.number_;
  return a.storage_ && b.storage_ && a.storage_->content == b.storage_->content;
}

Dictionary::Dictionary() noexcept = default;
Dictionary::Dictionary(std::initializer_list<DictionaryEntry> entries) {
  for (const DictionaryEntry& entry : entries) set(entry.key, entry.value);
}
Dictionary::Dictionary(const Dictionary&) = default;
Dictionary::Dictionary(Dictionary&&) noexcept = default;
Dictionary& Dictionary::operator=(const Dictionary&) = default;
Dictionary& Dictionary::operator=(Dictionary&&) noexcept = default;
Dictionary::~Dictionary() = default;

Dictionary& Dictionary::set(std::string key, Value value) {
  const auto entry = std::ranges::find(entries_, key, &DictionaryEntry::key);
  if (entry != entries_.end()) {
    entry->value = std::move(value);
  } else {
    entries_.push_back({std::move(key), std::move(value)});
  }
  return *this;
}

const Value* Dictionary::find(std::string_view key) const noexcept {
  const auto entry = std::ranges::find(entries_, key, &DictionaryEntry::key);
  return entry != entries_.end() ? &entry->value : nullptr;
}

bool operator==(const Dictionary& a, const Dictionary& b) noexcept {
  return a.size() == b.size() && std::ranges::all_of(a, [&b](const DictionaryEntry& entry) {
           const Value* other = b.find(entry.key);
           return other != nullptr && *other == entry.value;
         });
}

}  // namespace JVFoundation
