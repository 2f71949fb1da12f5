#include "platform/linux/ModuleLoader.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <tuple>

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

TEST_F(ModuleLoader, SaysWhyItLoadsNothing) {
  for (const auto& [name, problem] :
       {std::pair{"absent", "No such file"}, {"old", "of version 0.9"}, {"stray", "not a module"}}) {
    const jv::LoadedModule loaded = jv::loadModule(folder(), name);
    EXPECT_EQ(loaded.table, nullptr);
    EXPECT_THAT(loaded.problem, HasSubstr(problem));
  }
  EXPECT_THAT(jv::loadModule("", "trial").problem, HasSubstr("absolute path"));
}

TEST_F(ModuleLoader, TrustsNothingThatOthersCanWrite) {
  constexpr uid_t kOthers = 65534;
  const std::tuple<const char*, uid_t, gid_t, mode_t, bool> cases[] = {
      {"everybody may write", geteuid(), getegid(), 01777, false},
      {"root's own group", 0, 0, 0775, true},
      {"another group", 0, kOthers, 0775, false},
      {"another owner", kOthers, kOthers, 0755, false},
      {"the user's own", geteuid(), getegid(), 0755, true},
  };
  for (const std::string& path : {file("trial"), folder()}) {
    for (const auto& [why, owner, group, mode, trusted] : cases) {
      SCOPED_TRACE(path + ": " + why);
      if (geteuid() != 0 && owner != geteuid()) continue;  // only root can give files away
      ASSERT_EQ(chown(path.c_str(), owner, group) + chmod(path.c_str(), mode), 0);
      const jv::LoadedModule trial = jv::loadModule(folder(), "trial");
      EXPECT_EQ(trial.table && *static_cast<const int*>(trial.table) == 42, trusted) << trial.problem;
      EXPECT_EQ(trial.problem.find("others") == std::string::npos, trusted);
    }
  }
}

}  // namespace
