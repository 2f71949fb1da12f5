// JVUtilities: the user.

#include <JorvaneFoundation/system/JVUtilities.h>

#include <JorvaneFoundation/platform/AddressBook.h>

std::optional<std::string> JVUtilities::userName() {
  const auto card = JVPlatform::addressBook()->me();
  if (!card) return std::nullopt;
  std::string name = card->firstName.value_or("");
  if (card->lastName) name += (card->firstName ? " " : "") + *card->lastName;
  return name.empty() ? std::nullopt : std::optional(name);
}

std::optional<std::string> JVUtilities::userEmail() {
  const auto card = JVPlatform::addressBook()->me();
  if (!card || !card->emails) return std::nullopt;
  const JVPlatform::ABMultiValue& emails = *card->emails;
  if (emails.primaryIdentifier) return emails.valueForIdentifier(*emails.primaryIdentifier);
  for (std::size_t i = 0; i < emails.count(); ++i) {
    const auto& email = emails.valueAtIndex(i);
    if (email && !email->empty()) return email;
  }
  return std::nullopt;
}
