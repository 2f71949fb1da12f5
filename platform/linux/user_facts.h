/// What the user's own files say about the user.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <JorvaneFoundation/platform/AddressBook.h>

namespace jv {

/// The full name in the field of the password file that is meant for it: what stands before the first comma, each "&"
/// replaced by the login name with a capital letter. None when it is no UTF-8 or says no more than blanks or the login
/// name.
std::optional<std::string> fullNameOf(std::string_view field, std::string_view login);

/// The e-mail addresses of the first card in @p text, a vCard file of version 2.1, 3.0 or 4.0, in their order,
/// those that are no UTF-8 left out; none without a card. The one that is marked as preferred is the primary one; of
/// several, the first with the lowest number.
std::optional<JVPlatform::ABMultiValue> emailsOfCard(std::string_view text);

/// Where a user may keep a card of their own: `JorvaneFoundation/me.vcf` in `$XDG_CONFIG_HOME`, or in `~/.config` when
/// that is unset or relative. Empty when there is no home.
std::string pathOfOwnCard();

}  // namespace jv
