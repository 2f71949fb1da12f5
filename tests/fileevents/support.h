/// What the tests of watching share: a folder of a test's own, and what is done in it.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

#include "dispatch/support.h"
#include "fileevents/Recorder.h"
#include "support/temporary_folder.h"

namespace jvtest {

inline void write(const std::string& path) { std::ofstream(path) << "text"; }

/// Carries out the shell's @p commands in @p folder, each only if the one before went well.
inline void carryOut(const std::string& folder, const std::string& commands) {
  ASSERT_EQ(std::system(("cd '" + folder + "' && " + commands).c_str()), 0) << commands;
}

/// A folder in which @p commands are carried out first.
struct Place {
  explicit Place(const std::string& commands = "true") { run(commands); }

  void run(const std::string& commands) const { carryOut(base, commands); }
  /// The path of what is at @p below.
  std::string operator/(const std::string& below) const { return base + '/' + below; }
  /// Whether @p below was told of before the bound.
  bool tells(const std::string& below) const { return recorder->waitFor(*this / below); }

  const jv::test::TemporaryFolder folder;
  const std::string base = folder.path().string();
  const std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
};

}  // namespace jvtest
