#include "platform/linux/machine_facts.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include <sys/utsname.h>

#include "platform/linux/text_files.h"
#include "support/temporary_folder.h"

using jv::test::TemporaryFolder;
using testing::Optional;

namespace {

TEST(VariablesOfAFile, AreReadAsShellsReadThem) {
  const struct {
    const char* why;
    std::string_view text;
    std::optional<std::string> expected;
  } cases[] = {
      {"plain", "NAME=value\n", "value"},
      {"not there", "OTHER=value\nNAMES=more\nXNAME=x\n", std::nullopt},
      {"nothing at all", "", std::nullopt},
      {"the last one", "NAME=a\nNAME=b", "b"},
      {"empty", "NAME=", ""},
      {"empty in quotes", "NAME=\"\"", ""},
      {"double quotes", "NAME=\"a 'b' c\"", "a 'b' c"},
      {"single quotes", "NAME='a \"b\" \\c'", "a \"b\" \\c"},
      {"pieces", "NAME=a\"b\"'c'd", "abcd"},
      {"escapes in quotes", R"(NAME="\"\$\`\\\n")", R"("$`\\n)"},
      {"escapes outside", R"(NAME=a\ b\\c)", R"(a b\c)"},
      {"blanks without quotes", "NAME=My Box  \r\n", "My Box"},
      {"a comment", "#NAME=a\n # NAME=b\nNAME=c # d\n", "c # d"},
      {"a quote that is not closed", "NAME=\"a b\nOTHER=c\"", "a b"},
      {"a backslash at the end", "NAME=a\\", "a\\"},
      {"UTF-8",
       "NAME=\"Ren\xC3\xA9"
       "e's Box\"",
       "Ren\xC3\xA9"
       "e's Box"},
      {"an equals sign", "NAME=a=b", "a=b"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(jv::variableIn(c.text, "NAME"), c.expected);
  }
}

/// Files below a folder of their own, and what is found there.
struct Machine : testing::Test {
  void write(const std::string& path, std::string_view contents) {
    std::filesystem::create_directories((folder.path() / path).parent_path());
    folder.write(path, contents);
  }
  void remove(const std::string& path) { std::filesystem::remove(folder.path() / path); }
  std::string root() const { return folder.path().string(); }

  TemporaryFolder folder;
};

std::string textOf(const std::optional<jv::FoundText>& found) { return found ? found->text : "(none)"; }

TEST_F(Machine, IsNamedByPeopleThenByItsHostName) {
  utsname names;
  ASSERT_EQ(uname(&names), 0);
  const std::string whole = names.nodename;
  const std::string own = whole.substr(0, whole.find('.'));
  const std::string byKernel = own == "localhost" || own == "(none)" ? "(none)" : own;
  EXPECT_EQ(textOf(jv::computerName(root())), byKernel) << "no files";
  write("etc/hostname", "# a comment\n\n  box.example.org \n");
  EXPECT_EQ(textOf(jv::computerName(root())), "box.example.org");
  write("etc/machine-info", "CHASSIS=laptop\nPRETTY_HOSTNAME=\"Ada's Box\"\n");
  EXPECT_EQ(textOf(jv::computerName(root())), "Ada's Box");
  EXPECT_STREQ(jv::computerName(root())->origin, "/etc/machine-info");
  write("etc/machine-info", "PRETTY_HOSTNAME=\n");
  EXPECT_EQ(textOf(jv::computerName(root())), "box.example.org");
  write("etc/hostname", "\n#only a comment\n");
  EXPECT_EQ(textOf(jv::computerName(root())), byKernel);
  std::filesystem::remove_all(folder.path() / "etc/hostname");
  std::filesystem::create_directory(folder.path() / "etc/hostname");
  EXPECT_EQ(textOf(jv::computerName(root())), byKernel) << "a folder where the file ought to be";
}

TEST_F(Machine, HasTheModelThatItsFirmwareNames) {
  EXPECT_EQ(textOf(jv::computerModel(root())), "(none)");
  write("proc/device-tree/model", std::string("Board Model B\0more", 18));
  EXPECT_EQ(textOf(jv::computerModel(root())), "Board Model B");
  const std::string product = "sys/class/dmi/id/product_name";
  write(product, "Book 14 \n");
  EXPECT_EQ(textOf(jv::computerModel(root())), "Book 14");
  for (const char* filler : {"To Be Filled By O.E.M.", "System Product Name", "Default string", "None", "", " "}) {
    write(product, filler + std::string("\n"));
    EXPECT_EQ(textOf(jv::computerModel(root())), "Board Model B") << filler;
  }
  remove("proc/device-tree/model");
  EXPECT_EQ(textOf(jv::computerModel(root())), "(none)");
}

TEST_F(Machine, RunsTheSystemThatItsReleaseFileNames) {
  EXPECT_EQ(textOf(jv::systemText(root())), "(none)");
  write("usr/lib/os-release", "NAME=Vendor\nPRETTY_NAME='Vendor OS 1'\n");
  EXPECT_EQ(textOf(jv::systemText(root())), "Vendor OS 1");
  write("etc/os-release", "NAME=Own\n");
  EXPECT_EQ(textOf(jv::systemText(root())), "Vendor OS 1") << "says nothing";
  write("etc/os-release", "PRETTY_NAME=\"Own OS 2\"\n");
  EXPECT_EQ(textOf(jv::systemText(root())), "Own OS 2");
}

}  // namespace
