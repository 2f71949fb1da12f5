// What files say about the machine and its user.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "platform/linux/machine_facts.h"
#include "platform/linux/text_files.h"
#include "platform/linux/user_facts.h"
#include "support/temporary_folder.h"

using jv::test::TemporaryFolder;

namespace {

TEST(VariablesOfAFile, AreReadAsShellsReadThem) {
  const struct {
    const char* why;
    std::string_view text;
    std::optional<std::string> expected;
  } cases[] = {
      {"not there", "OTHER=value\nNAMES=more\nXNAME=x\n", std::nullopt},
      {"single quotes", "NAME='a \"b\" \\\\'", "a \"b\" \\\\"},
      {"escapes in quotes", R"(NAME="\"\$\`\\\n")", R"("$`\\n)"},
      {"a comment", "#NAME=a\n # NAME=b\nNAME=c # d\n", "c # d"},
      {"a quote that is not closed", "NAME=\"a b\nOTHER=c\"", "a b"},
      {"a backslash at the end", "NAME=a\\", "a\\"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(jv::variableIn(c.text, "NAME"), c.expected);
  }
}

TEST(SmallFiles, AreReadAndNothingElseIs) {
  const TemporaryFolder folder;
  const auto text = [&](const char* name) { return jv::textOfFile((folder.path() / name).string()); };
  ASSERT_EQ(mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(text("pipe"), "") << "nobody writes to it";
  const std::string largest(jv::kLargestTextFile, 'a');
  folder.write("largest", largest);
  EXPECT_EQ(text("largest"), largest);
  folder.write("large", largest + "a");
  EXPECT_EQ(text("large"), "");
  EXPECT_NE(jv::textOfFile("/proc/self/status"), "") << "does not tell its size";
}

/// Files below a folder of their own, and what is found there.
struct Machine : testing::Test {
  void write(const std::string& path, std::string_view contents) {
    std::filesystem::create_directories((folder.path() / path).parent_path());
    folder.write(path, contents);
  }

  TemporaryFolder folder;
  const std::string root = folder.path().string();
};

std::string textOf(const std::optional<jv::FoundText>& found) { return found ? found->text : "(none)"; }

TEST_F(Machine, IsNamedByPeopleThenByItsHostName) {
  const std::string byKernel = textOf(jv::computerName(root));
  const struct {
    const char *file, *contents;
    std::string expected;
  } steps[] = {
      {"etc/hostname", "# a comment\n\n  box.example.org \n", "box.example.org"},
      {"etc/machine-info", "CHASSIS=laptop\nPRETTY_HOSTNAME=\"Ada's Box\"\n", "Ada's Box"},
      {"etc/machine-info", "PRETTY_HOSTNAME=\"  \"\n", "box.example.org"},
      {"etc/machine-info", "PRETTY_HOSTNAME=\"Ren\xE9's Box\"\n", "box.example.org"},
      {"etc/hostname", "ren\xE9\n", byKernel},
  };
  for (const auto& step : steps) {
    write(step.file, step.contents);
    EXPECT_EQ(textOf(jv::computerName(root)), step.expected) << step.contents;
  }
}

TEST_F(Machine, HasTheModelThatItsFirmwareNames) {
  write("proc/device-tree/model", std::string("Board Model B\0more", 18));
  EXPECT_EQ(textOf(jv::computerModel(root)), "Board Model B");
  const std::string product = "sys/class/dmi/id/product_name";
  write(product, "Book 14 \n");
  EXPECT_EQ(textOf(jv::computerModel(root)), "Book 14");
  for (const char* filler : {"To Be Filled By O.E.M.", "System Product Name", " ", "Book \xAE"}) {
    write(product, filler + std::string("\n"));
    EXPECT_EQ(textOf(jv::computerModel(root)), "Board Model B") << filler;
  }
}

TEST(FullName, IsWhatTheFieldSaysBeyondTheLoginName) {
  EXPECT_EQ(jv::fullNameOf("& of &,Room 1,123,,", "ada"), "Ada of Ada") << "the mark for the login name";
  EXPECT_EQ(jv::fullNameOf("root", "root"), std::nullopt);
  EXPECT_EQ(jv::fullNameOf("Ren\xE9", "ada"), std::nullopt) << "no UTF-8";
  EXPECT_EQ(jv::fullNameOf("&", ""), std::nullopt);
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
