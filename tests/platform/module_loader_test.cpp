#include "platform/linux/ModuleLoader.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/temporary_folder.h"

namespace {

using testing::HasSubstr;

// A folder with copies of the trial modules, whose owner and mode a test may change.
class ModuleLoader : public testing::Test {
 protected:
  ModuleLoader() { std::filesystem::copy(JV_TRIAL_MODULES, folder_.path()); }

  std::string folder() const { return folder_.path(); }
  std::string file(const char* name) const { return folder() + "/" + name + ".so"; }

  jv::test::TemporaryFolder folder_;
};

TEST_F(ModuleLoader, GivesTheTableOfAModuleOfItsOwnVersion) {
  const jv::LoadedModule trial = jv::loadModule(folder(), "trial");
  ASSERT_NE(trial.table, nullptr) << trial.problem;
  EXPECT_EQ(*static_cast<const int*>(trial.table), 42);
  EXPECT_EQ(trial.problem, "");
}

TEST_F(ModuleLoader, SaysWhyItLoadsNothing) {
  struct Case {
    const char* name;
    const char* problem;
  };
  const Case cases[] = {
      {"absent", "No such file"},
      {"old", "of version 0.9"},
      {"stray", "not a module"},
      {"text", "/text.so"},
  };
  folder_.write("text.so", "no shared object");
  for (const Case& c : cases) {
    const jv::LoadedModule loaded = jv::loadModule(folder(), c.name);
    EXPECT_EQ(loaded.table, nullptr);
    EXPECT_THAT(loaded.problem, HasSubstr(c.problem));
  }
  EXPECT_THAT(jv::loadModule("", "trial").problem, HasSubstr("absolute path"));
}

TEST_F(ModuleLoader, TrustsNoFileThatOthersCanWrite) {
  ASSERT_EQ(chmod(file("trial").c_str(), 0777), 0);
  EXPECT_THAT(jv::loadModule(folder(), "trial").problem, HasSubstr("others"));
}

TEST_F(ModuleLoader, TrustsNoFolderThatOthersCanWrite) {
  ASSERT_EQ(chmod(folder().c_str(), 01777), 0);
  EXPECT_THAT(jv::loadModule(folder(), "trial").problem, HasSubstr("others"));
}

TEST_F(ModuleLoader, TrustsNoGroupButTheOwners) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file to any group";
  constexpr gid_t kOthers = 65534;
  struct Case {
    const char* why;
    gid_t group;
    mode_t mode;
    bool trusted;
  };
  const Case cases[] = {
      {"root's own group", 0, 0775, true},
      {"another group, which may not write", kOthers, 0755, true},
      {"another group", kOthers, 0775, false},
  };
  for (const std::string& path : {file("trial"), folder()}) {
    for (const Case& c : cases) {
      SCOPED_TRACE(path + ": " + c.why);
      ASSERT_EQ(chown(path.c_str(), 0, c.group), 0);
      ASSERT_EQ(chmod(path.c_str(), c.mode), 0);
      const jv::LoadedModule trial = jv::loadModule(folder(), "trial");
      EXPECT_EQ(trial.table != nullptr, c.trusted) << trial.problem;
    }
    ASSERT_EQ(chmod(path.c_str(), 0755), 0);
  }
}

TEST_F(ModuleLoader, TrustsNoFileOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  ASSERT_EQ(chown(file("trial").c_str(), 65534, 65534), 0);
  EXPECT_THAT(jv::loadModule(folder(), "trial").problem, HasSubstr("others"));
}

}  // namespace
