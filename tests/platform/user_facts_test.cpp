#include "platform/linux/user_facts.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

TEST(FullName, IsWhatTheFieldSaysBeyondTheLoginName) {
  const struct {
    const char *why, *field, *login;
    std::optional<std::string> expected;
  } cases[] = {
      {"more fields", "Ada Lovelace,Room 1,123,,", "ada", "Ada Lovelace"},
      {"the login name", "root", "root", std::nullopt},
      {"the mark for the login name", "& of &, Room", "ada", "Ada of Ada"},
      {"no UTF-8", "Ren\xE9", "ada", std::nullopt},
      {"the mark without a login name", "&", "", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(jv::fullNameOf(c.field, c.login), c.expected);
  }
}

TEST(OwnCard, HasAddressesAndPerhapsAPreferredOne) {
  const struct {
    const char *why, *lines;
    std::vector<std::string> values;
    std::optional<std::string> primary;
  } cases[] = {
      {"preferred by number, the first of equals",
       "EMAIL;PREF=50:a\nEMAIL;TYPE=home;PREF=2:b\nEMAIL;PREF=2:c\nEMAIL;PREF=0:d\n",
       {"a", "b", "c", "d"},
       "b"},
      {"by type, in quotes", "EMAIL:a@b\nEMAIL;type=\"work,pref\":c@d\n", {"a@b", "c@d"}, "c@d"},
      {"in a group, in small letters", "item1.email:a@b\n", {"a@b"}, std::nullopt},
      {"continued lines", "EMA\n IL:a\r\n @\n\tb\n", {"a@b"}, std::nullopt},
      {"a colon in quotes", "EMAIL;X=\"a:b;c\":a@b\n", {"a@b"}, std::nullopt},
      {"escapes", "EMAIL:a\\,b\\\\@c\n", {"a,b\\@c"}, std::nullopt},
      {"no UTF-8", "EMAIL;PREF=1:ren\xE9@b\nEMAIL:a@b\n", {"a@b"}, std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const auto emails = jv::emailsOfCard(std::string("\uFEFFBEGIN:VCARD\r\nVERSION:4.0\r\n") + c.lines +
                                         "END:VCARD\nBEGIN:VCARD\nEMAIL:other@b\nEND:VCARD\n");
    ASSERT_TRUE(emails);
    std::vector<std::string> values;
    for (const auto& entry : emails->entries) values.push_back(entry.value.value_or("(none)"));
    EXPECT_EQ(values, c.values);
    const auto& primary = emails->primaryIdentifier;
    EXPECT_EQ(primary ? emails->valueForIdentifier(*primary) : std::nullopt, c.primary);
  }
  EXPECT_FALSE(jv::emailsOfCard("EMAIL:a@b\nEND:VCARD\n"));
}

}  // namespace
