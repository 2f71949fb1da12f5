#include "platform/linux/machine_facts.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>
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
      {"UTF-8", "NAME=\"Renée's Box\"", "Renée's Box"},
      {"an equals sign", "NAME=a=b", "a=b"},
      {"a zero byte", std::string_view("NAME=a\0b\n", 9), std::string("a\0b", 3)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(jv::variableIn(c.text, "NAME"), c.expected);
  }
}

TEST(SmallFiles, AreReadAndNothingElseIs) {
  const TemporaryFolder folder;
  const auto text = [&](const char* name) { return jv::textOfFile((folder.path() / name).string()); };
  EXPECT_EQ(text("absent"), "");
  EXPECT_EQ(text("."), "") << "a folder";
  ASSERT_EQ(mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(text("pipe"), "") << "nobody writes to it";
  EXPECT_EQ(jv::textOfFile("/dev/zero"), "") << "has no end";
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
  for (const char* nothing : {"", "\"  \"", "\"Ren\xE9's Box\""}) {
    write("etc/machine-info", std::string("PRETTY_HOSTNAME=") + nothing + "\n");
    EXPECT_EQ(textOf(jv::computerName(root())), "box.example.org") << nothing;
  }
  write("etc/hostname", "ren\xE9\n");
  EXPECT_EQ(textOf(jv::computerName(root())), byKernel) << "no UTF-8";
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
  for (const char* filler :
       {"To Be Filled By O.E.M.", "System Product Name", "Default string", "None", "", " ", "Book \xAE"}) {
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
  write("etc/os-release", "PRETTY_NAME=\"OS \xAE\"\n");
  EXPECT_EQ(textOf(jv::systemText(root())), "Vendor OS 1") << "no UTF-8";
  write("etc/os-release", "PRETTY_NAME=\"Own OS 2\"\n");
  EXPECT_EQ(textOf(jv::systemText(root())), "Own OS 2");
}

}  // namespace
