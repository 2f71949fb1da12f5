#include "tasks/TaskRun.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "fakes/FakeProcess.h"
#include "tasks/BackgroundRun.h"

namespace {

using jvtest::FakeProcess;
using jvtest::InstalledProcess;
using testing::ElementsAre;

const std::vector<std::string> kArguments{"one", "two"};

std::string stepsOf(const FakeProcess& fake) {
  std::string steps;
  for (const std::string& step : fake.steps) steps += step + ", ";
  return steps;
}

TEST(TaskRun, TakesItsStepsInOrder) {
  const std::string setUp =
      "task, pipe input, pipe output, pipe error, standard input is input, standard output is output, "
      "standard error is error, path /tool, arguments one two, ";
  const std::string release = "release error, release output, release input, ";
  using Text = std::optional<std::string_view>;
  const Text none;
  struct Case {
    const char* why;
    std::string_view input;
    Text directory;
    bool hesitant, launches;
    std::string expected;  // between the two
  };
  const Case cases[] = {
      {"without an input nothing is written, and the input stays open", "", none, false, true,
       "launch, read output, read error, exited, status, "},
      {"all of the input, and its end, come before any output", "hello", "/here", false, true,
       "directory /here, launch, write input hel, wait input, write input lo, close input, "
       "read output, read error, exited, status, "},
      {"whatever is not ready is waited for before anything else is done", "hi", "", true, true,
       "directory , launch, wait input, write input hi, close input, wait output, read output, wait error, "
       "read error, wait task, exited, status, "},
      {"a failed launch reads nothing", "", none, false, false, "launch, "},
      {"and writes what fits", "hi", none, false, false, "launch, write input hi, close input, "},
      {"alone: nobody will ever make room", "hello", none, false, false, "launch, write input hel, "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const auto fake = std::make_shared<FakeProcess>();
    fake->hesitant = c.hesitant;
    fake->inputRoom = 3;
    fake->output = "output";
    if (!c.launches) fake->beforeLaunch = [] { throw JVFoundation::NSException("Any", "No such tool"); };
    const InstalledProcess installed(fake);
    const auto result = jv::runTask({"/tool", kArguments, c.input, c.directory});
    EXPECT_EQ(result.status, c.launches ? 0 : -666);
    EXPECT_EQ(result.output, c.launches ? Text("output") : none);
    EXPECT_EQ(result.error, c.launches ? none : Text("No such tool"));
    EXPECT_EQ(stepsOf(*fake), setUp + c.expected + release);
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
  const auto& steps = background.fake->steps;
  const auto firstWait = std::ranges::find(steps, "later output");
  EXPECT_NE(std::find(firstWait, steps.end(), "launch"), steps.end());
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
      const std::string path = std::string("/").append(std::to_string(i));
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
