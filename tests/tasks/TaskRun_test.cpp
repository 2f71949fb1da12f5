#include "tasks/TaskRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "fakes/FakeProcess.h"
#include "tasks/BackgroundRun.h"

namespace {

using jvtest::FakeProcess;
using jvtest::InstalledProcess;
using testing::ElementsAre;
using Steps = std::vector<std::string>;

const std::vector<std::string> kArguments{"one", "two"};

const Steps kSetUp{"task",
                   "pipe input",
                   "pipe output",
                   "pipe error",
                   "standard input is input",
                   "standard output is output",
                   "standard error is error",
                   "path /tool",
                   "arguments one two"};

/// The steps of a run after the set-up.
Steps stepsAfterSetUp(const FakeProcess& fake) {
  Steps steps = fake.steps;
  for (const std::string& step : kSetUp) {
    if (steps.empty() || steps.front() != step) return {"not set up, for want of", step};
    steps.erase(steps.begin());
  }
  return steps;
}

TEST(TaskRun, TakesItsStepsInOrder) {
  struct Case {
    const char* why;
    std::string_view input;
    bool hesitant;
    Steps expected;
  };
  const Case cases[] = {
      {"without an input nothing is written, and the input stays open",
       "",
       false,
       {"launch", "read output", "read error", "exited", "status", "release error", "release output", "release input"}},
      {"all of the input, and its end, come before any output",
       "hello",
       false,
       {"launch", "write input hel", "wait input", "write input lo", "close input", "read output", "read error",
        "exited", "status", "release error", "release output", "release input"}},
      {"whatever is not ready is waited for before anything else is done",
       "hi",
       true,
       {"launch", "wait input", "write input hi", "close input", "wait output", "read output", "wait error",
        "read error", "wait task", "exited", "status", "release error", "release output", "release input"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const auto fake = std::make_shared<FakeProcess>();
    fake->hesitant = c.hesitant;
    fake->inputRoom = 3;
    const InstalledProcess installed(fake);
    const auto result = jv::runTask({"/tool", kArguments, c.input, std::nullopt});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(stepsAfterSetUp(*fake), c.expected);
    EXPECT_EQ(fake->input, c.input);
  }
}

TEST(TaskRun, SetsADirectoryOnlyWhenThereIsOne) {
  for (const auto& directory : {std::optional<std::string_view>(), {""}, {"/here"}}) {
    const auto fake = std::make_shared<FakeProcess>();
    const InstalledProcess installed(fake);
    jv::runTask({"/tool", kArguments, "", directory});
    std::string expected = "launch";
    if (directory) expected.assign("directory ").append(*directory);
    EXPECT_EQ(stepsAfterSetUp(*fake).front(), expected);
  }
}

TEST(TaskRun, DecodesWhatWasWritten) {
  using Text = std::optional<std::string>;
  struct Case {
    const char* why;
    std::string output, error;
    Text expectedOutput, expectedError;
  };
  const std::string zero("a\0b\r\n", 5);
  const Case cases[] = {
      {"nothing is no text", "", "", {}, {}},
      {"nothing is trimmed or changed", zero, " \n", zero, " \n"},
      {"what is not UTF-8 is no text; the other stream does not mind", "\xFF", "fine", {}, "fine"},
      {"a cut-off character is not UTF-8", "fine", "\xE3\x81", "fine", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const auto fake = std::make_shared<FakeProcess>();
    fake->output = c.output;
    fake->error = c.error;
    fake->status = 3;
    const InstalledProcess installed(fake);
    const auto result = jv::runTask({"/tool", kArguments, "", std::nullopt});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.output, c.expectedOutput);
    EXPECT_EQ(result.error, c.expectedError);
  }
}

TEST(TaskRun, WritesWhatFitsWhenTheLaunchFailsAndReadsNothing) {
  struct Case {
    const char* why;
    std::string_view input;
    Steps expected;
  };
  const Case cases[] = {
      {"nothing to write", "", {"launch", "release error", "release output", "release input"}},
      {"it fits",
       "hi",
       {"launch", "write input hi", "close input", "release error", "release output", "release input"}},
      {"it does not, and nobody will ever make room",
       "hello",
       {"launch", "write input hel", "release error", "release output", "release input"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const auto fake = std::make_shared<FakeProcess>();
    fake->inputRoom = 3;
    fake->output = "never read";
    fake->beforeLaunch = [] { throw JVFoundation::NSException("Any", "No such tool"); };
    const InstalledProcess installed(fake);
    const auto result = jv::runTask({"/tool", kArguments, c.input, std::nullopt});
    EXPECT_EQ(result.status, -666);
    EXPECT_EQ(result.output, std::nullopt);
    EXPECT_EQ(result.error, "No such tool");
    EXPECT_EQ(stepsAfterSetUp(*fake), c.expected);
  }
}

TEST(TaskRun, LetsOtherExceptionsPassAndReleasesEverything) {
  const auto fake = std::make_shared<FakeProcess>();
  fake->beforeLaunch = [] { throw std::runtime_error("not the platform's"); };
  const InstalledProcess installed(fake);
  EXPECT_THROW(jv::runTask({"/tool", kArguments, "input", std::nullopt}), std::runtime_error);
  EXPECT_EQ(fake->pipes, 0);
  EXPECT_EQ(fake->input, "");
}

TEST(TaskRun, TakesAPipeThatCannotBeHadForAFailedLaunch) {
  for (int allowed = 0; allowed < 3; ++allowed) {
    const auto fake = std::make_shared<FakeProcess>();
    fake->beforePipe = [left = allowed]() mutable {
      if (left-- == 0) throw JVPlatform::ResourceShortage("Any", "Too many open files");
    };
    const InstalledProcess installed(fake);
    const auto result = jv::runTask({"/tool", kArguments, "input", std::nullopt});
    EXPECT_EQ(result.status, -666);
    EXPECT_EQ(result.error, "Too many open files");
    EXPECT_EQ(fake->pipes, 0);
  }
}

// ---------------------------------------------------------------------------------------------------------------------

struct Background {
  std::shared_ptr<FakeProcess> fake = std::make_shared<FakeProcess>();
  InstalledProcess installed{fake};
  std::vector<std::string> ended;  // "path: status" in order

  void start(const std::string& path) {
    jv::runTaskInBackground({path, {}, "", std::nullopt}, [this, path](const jv::TaskResult& result) {
      ended.push_back(path + ": " + std::to_string(result.status));
    });
  }
  void finish() {
    while (fake->performNext()) {
    }
  }
};

TEST(BackgroundRun, TakesTheSameStepsAsTheOther) {
  const auto foreground = std::make_shared<FakeProcess>();
  {
    const InstalledProcess installed(foreground);
    jv::runTask({"/tool", kArguments, "hello", "/here"});
  }
  Background background;
  int delivered = 0;
  jv::runTaskInBackground({"/tool", kArguments, "hello", "/here"}, [&](const jv::TaskResult&) { ++delivered; });
  EXPECT_TRUE(background.fake->steps.empty()) << "nothing happens on the caller's thread";
  background.finish();
  EXPECT_EQ(background.fake->steps, foreground->steps);
  EXPECT_EQ(delivered, 1);
}

TEST(BackgroundRun, GoesOnWithOthersWhileOneWaits) {
  Background background;
  background.fake->hesitant = true;
  background.start("/first");
  background.start("/second");
  background.finish();
  const Steps& steps = background.fake->steps;
  const auto isLaunch = [](const std::string& step) { return step == "launch"; };
  const auto firstWait = std::ranges::find(steps, "later output");
  EXPECT_TRUE(std::any_of(firstWait, steps.end(), isLaunch));
  EXPECT_THAT(background.ended, ElementsAre("/first: 0", "/second: 0"));
}

TEST(BackgroundRun, WaitsForRoomWhileOthersHoldIt) {
  struct Case {
    const char* why;
    std::function<void(FakeProcess&)> limit;
  };
  const Case cases[] = {
      {"pipes run out",
       [](FakeProcess& fake) {
         fake.beforePipe = [&fake] {
           if (fake.pipes >= 6) throw JVPlatform::ResourceShortage("Any", "Too many open files");
         };
       }},
      {"processes run out",
       [](FakeProcess& fake) {
         fake.beforeLaunch = [&fake] {
           if (fake.pipes > 6) throw JVPlatform::ResourceShortage("Any", "Resource temporarily unavailable");
         };
       }},
      {"the application would have nothing left", [](FakeProcess& fake) { fake.room = false; }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Background background;
    background.fake->hesitant = true;
    c.limit(*background.fake);
    std::vector<std::string> expected;
    for (int i = 0; i < 9; ++i) {
      std::string path = "/";
      path += std::to_string(i);
      background.start(path);
      expected.push_back(path + ": 0");
    }
    background.finish();
    EXPECT_EQ(background.ended, expected) << "all run, in the order in which they were asked for";
    EXPECT_EQ(background.fake->pipes, 0);
  }
}

TEST(BackgroundRun, FailsForWantOfRoomOnlyWhenNobodyWillLeaveAny) {
  Background background;
  background.fake->beforePipe = [] { throw JVPlatform::ResourceShortage("Any", "Too many open files"); };
  for (const char* path : {"/a", "/b", "/c"}) background.start(path);
  background.finish();
  EXPECT_THAT(background.ended, testing::UnorderedElementsAre("/a: -666", "/b: -666", "/c: -666"));

  // And that is over as soon as there is room again.
  background.ended.clear();
  background.fake->beforePipe = [] {};
  background.start("/d");
  background.finish();
  EXPECT_THAT(background.ended, ElementsAre("/d: 0"));
}

}  // namespace
