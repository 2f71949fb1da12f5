/// What `system/` asks about the user: the user's own card.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVPlatform {

/// Values with identifiers, one of which may be the primary one.
struct ABMultiValue {
  struct Entry {
    std::string identifier;
    std::optional<std::string> value;
  };

  std::vector<Entry> entries;
  std::optional<std::string> primaryIdentifier;

  [[nodiscard]] std::size_t count() const noexcept { return entries.size(); }
  /// The value at @p position, which is below the count.
  [[nodiscard]] const std::optional<std::string>& valueAtIndex(std::size_t position) const {
    return entries[position].value;
  }
  /// None when there is no such entry as well.
  [[nodiscard]] std::optional<std::string> valueForIdentifier(std::string_view identifier) const {
    for (const Entry& entry : entries) {
      if (entry.identifier == identifier) return entry.value;
    }
    return std::nullopt;
  }
};

/// A person's card. Every property may be missing.
struct ABPerson {
  std::optional<std::string> firstName;  ///< or the whole name, where the system keeps it in one piece
  std::optional<std::string> lastName;
  std::optional<ABMultiValue> emails;
};

/// Any thread.
class JV_EXPORT AddressBook {
 public:
  AddressBook() = default;
  AddressBook(const AddressBook&) = delete;
  AddressBook& operator=(const AddressBook&) = delete;
  virtual ~AddressBook();

  /// The user's own card, or none. Blocks for 100 ms at most, as far as it waits for other programs.
  virtual std::optional<ABPerson> me() = 0;
};

/// The implementation in use: at first one that asks the desktop's accounts service and reads the user's files.
JV_EXPORT std::shared_ptr<AddressBook> addressBook();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<AddressBook> installAddressBook(std::shared_ptr<AddressBook> other);

}  // namespace JVPlatform
