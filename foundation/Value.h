/// The one immutable value that task results, error user information, keychain attributes and system stores are made
/// of.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSNumber.h>

namespace JVFoundation {

class Dictionary;

/// A number, a text, data, an array of values or a dictionary from texts to values.
///
/// Immutable: copies share their contents, cost the same whatever their size, and may be read on any number of threads.
/// Each accessor gives null when the value is of another kind; a pointer that it gives is good as long as this value or
/// a copy of it lives.
///
///     Value result = Dictionary{{"JVTaskStatus", 0}, {"JVTaskOutput", "hello\n"}};
///     if (const std::string* output = result.text("JVTaskOutput")) use(*output);
class JV_EXPORT Value {
 public:
  enum class Kind : std::uint8_t { number, text, data, array, dictionary };
  using Data = std::vector<std::uint8_t>;
  using Array = std::vector<Value>;

  /// A number of the kind that `NSNumber` makes of it.
  template <std::convertible_to<NSNumber> Number>
  Value(Number number) noexcept : number_(number) {}
  /// A text: UTF-8 by convention, but any bytes are kept, zero bytes included. A null pointer is an empty text.
  Value(std::string text);
  Value(std::string_view text);
  Value(const char* text);
  Value(Data data);
  Value(Array array);
  Value(Dictionary dictionary);

  [[nodiscard]] Kind kind() const noexcept;

  [[nodiscard]] const NSNumber* number() const noexcept;
  [[nodiscard]] const std::string* text() const noexcept;
  [[nodiscard]] const Data* data() const noexcept;
  [[nodiscard]] const Array* array() const noexcept;
  [[nodiscard]] const Dictionary* dictionary() const noexcept;

  /// The value under @p key; null when there is none or when this is no dictionary.
  [[nodiscard]] const Value* find(std::string_view key) const noexcept;
  /// The number or text under @p key; null as well when the value there is of another kind.
  [[nodiscard]] const NSNumber* number(std::string_view key) const noexcept;
  [[nodiscard]] const std::string* text(std::string_view key) const noexcept;

  /// Equal in kind and contents; numbers as `NSNumber` compares them, dictionaries whatever the order of their entries.
  friend JV_EXPORT bool operator==(const Value& a, const Value& b) noexcept;

 private:
  struct Storage;

  template <class Content>
  const Content* content() const noexcept;

  NSNumber number_{false};
  std::shared_ptr<const Storage> storage_;  // null: the value is the number
};

/// An entry of a dictionary.
struct DictionaryEntry {
  std::string key;
  Value value;
};

/// Entries with distinct keys in the order in which they were first set. Fill one and make a `Value` of it, which then
/// keeps it unchanged. Looking a key up takes time in proportion to the entries: it is made for dozens of them.
class JV_EXPORT Dictionary {
 public:
  Dictionary() noexcept;
  /// As if each entry was set in turn.
  Dictionary(std::initializer_list<DictionaryEntry> entries);
  Dictionary(const Dictionary&);
  Dictionary(Dictionary&&) noexcept;
  Dictionary& operator=(const Dictionary&);
  Dictionary& operator=(Dictionary&&) noexcept;
  ~Dictionary();

  /// Puts @p value under @p key. A key that is there already keeps its place and gets the new value.
  /// @return  this dictionary, for the next entry
  Dictionary& set(std::string key, Value value);

  /// The value under @p key, or null; good until the dictionary changes.
  [[nodiscard]] const Value* find(std::string_view key) const noexcept;

  [[nodiscard]] std::size_t size() const noexcept { return entries_.size(); }
  [[nodiscard]] bool empty() const noexcept { return entries_.empty(); }
  [[nodiscard]] auto begin() const noexcept { return entries_.begin(); }
  [[nodiscard]] auto end() const noexcept { return entries_.end(); }

  /// The same keys with equal values, in any order.
  friend JV_EXPORT bool operator==(const Dictionary& a, const Dictionary& b) noexcept;

 private:
  std::vector<DictionaryEntry> entries_;
};

}  // namespace JVFoundation
