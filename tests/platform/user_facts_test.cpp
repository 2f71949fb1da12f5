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
      {"a name", "Ada Lovelace", "ada", "Ada Lovelace"},
      {"more fields", "Ada Lovelace,Room 1,123,,", "ada", "Ada Lovelace"},
      {"empty", "", "ada", std::nullopt},
      {"other fields only", ",,,", "ada", std::nullopt},
      {"the login name", "root", "root", std::nullopt},
      {"the login name in capitals says more", "Root", "root", "Root"},
      {"the mark for the login name", "& of &, Room", "ada", "Ada of Ada"},
      {"blanks", "  ,Room 1", "ada", std::nullopt},
      {"no UTF-8", "Ren\xE9", "ada", std::nullopt},
      {"the mark alone", "&", "ada", "Ada"},
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
    const char* primary;
  } cases[] = {
      {"one", "EMAIL:a@b\n", {"a@b"}, nullptr},
      {"several", "EMAIL;TYPE=work:a@b\nEMAIL;TYPE=home:c@d\n", {"a@b", "c@d"}, nullptr},
      {"preferred by number", "EMAIL;PREF=50:a@b\nEMAIL;TYPE=home;PREF=1:c@d\n", {"a@b", "c@d"}, "c@d"},
      {"the first of equals", "EMAIL:a\nEMAIL;PREF=2:b\nEMAIL;PREF=2:c\n", {"a", "b", "c"}, "b"},
      {"preferred by type", "EMAIL:a@b\nEMAIL;TYPE=INTERNET,pref:c@d\n", {"a@b", "c@d"}, "c@d"},
      {"by type, in quotes", "EMAIL:a@b\nEMAIL;type=\"work,pref\":c@d\n", {"a@b", "c@d"}, "c@d"},
      {"as in version 2.1", "EMAIL:a@b\nEMAIL;PREF;INTERNET:c@d\n", {"a@b", "c@d"}, "c@d"},
      {"no such numbers", "EMAIL;PREF=x:a\nEMAIL;PREF=0:b\nEMAIL;PREF=101:c\n", {"a", "b", "c"}, nullptr},
      {"in a group, in small letters", "item1.email:a@b\n", {"a@b"}, nullptr},
      {"continued lines", "EMA\n IL:a\r\n @\n\tb\n", {"a@b"}, nullptr},
      {"a colon in quotes", "EMAIL;X=\"a:b;c\":a@b\n", {"a@b"}, nullptr},
      {"escapes", "EMAIL:a\\,b\\\\@c\n", {"a,b\\@c"}, nullptr},
      {"empty", "EMAIL:\n", {""}, nullptr},
      {"none", "FN:Ada\nXEMAIL:a\nEMAILS:b\nNOTE:EMAIL:c\n", {}, nullptr},
      {"no colon", "EMAIL\n", {}, nullptr},
      {"no UTF-8", "EMAIL;PREF=1:ren\xE9@b\nEMAIL:a@b\n", {"a@b"}, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const auto emails = jv::emailsOfCard(std::string("BEGIN:VCARD\r\nVERSION:4.0\r\n") + c.lines +
                                         "END:VCARD\nBEGIN:VCARD\nEMAIL:other@b\nEND:VCARD\n");
    ASSERT_TRUE(emails);
    std::vector<std::string> values;
    for (const auto& entry : emails->entries) values.push_back(entry.value.value_or("(none)"));
    EXPECT_EQ(values, c.values);
    const auto primary =
        emails->primaryIdentifier ? emails->valueForIdentifier(*emails->primaryIdentifier) : std::nullopt;
    EXPECT_EQ(primary, c.primary ? std::optional<std::string>(c.primary) : std::nullopt);
  }
  EXPECT_TRUE(jv::emailsOfCard("\uFEFFBEGIN:VCARD\nEMAIL:a@b\nEND:VCARD\n")) << "a byte-order mark";
  for (const char* text : {"", "EMAIL:a@b\n", "\n\n", "END:VCARD\n"}) EXPECT_FALSE(jv::emailsOfCard(text)) << text;
}

TEST(OwnCard, LiesWhereTheUserKeepsConfiguration) {
  const struct {
    const char *configuration, *home, *expected;
  } cases[] = {
      {"/c", "/h", "/c/JorvaneFoundation/me.vcf"},
      {"", "/h", "/h/.config/JorvaneFoundation/me.vcf"},
      {"relative", "/h", "/h/.config/JorvaneFoundation/me.vcf"},
      {"", "", ""},
  };
  for (const auto& c : cases) {
    setenv("XDG_CONFIG_HOME", c.configuration, 1);
    setenv("HOME", c.home, 1);
    EXPECT_EQ(jv::pathOfOwnCard(), c.expected);
  }
}

}  // namespace
