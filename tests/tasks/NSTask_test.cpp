#include <JorvaneFoundation/tasks/NSTask.h>

#include <gmock/gmock.h>

#include <filesystem>

#include "support/temporary_folder.h"
#include "tasks/support.h"

namespace {

namespace fs = std::filesystem;
using jv::test::TemporaryFolder;
using JVFoundation::NSTask;
using JVFoundation::Value;
using jvtest::outcomeOf;
using jvtest::program;
using jvtest::TaskOutcome;
using testing::HasSubstr;
using Text = std::optional<std::string>;
using Words = std::vector<std::string>;

TaskOutcome launch(const std::string& path, const Words& arguments = {},
                   const std::optional<std::string_view>& input = std::nullopt,
                   const std::optional<std::string_view>& directory = std::nullopt) {
  return outcomeOf(NSTask::launchSyncWithPath(path, arguments, input, directory));
}

std::string script(const TemporaryFolder& folder, std::string_view name, std::string_view contents) {
  std::string path = folder.write(name, contents);
  fs::permissions(path, fs::perms::owner_all);
  return path;
}

/// What write_bytes writes.
std::string written(std::size_t size) {
  std::string text(size, 'x');
  for (std::size_t at = 0; at < size; ++at) {
    if (at % 65'536 % 80 == 79) text[at] = '\n';
  }
  return text;
}

TEST(LaunchSync, GivesStatusOutputAndError) {
  const std::string shell = "/bin/sh", echo = program("echo_arguments");
  const std::string echoed = "[" + echo + "]\n[]\n[ two ]\n[$HOME *]\n[-x]\n", much(700'000, 'y');
  struct Case {
    const char* why;
    std::string path;
    Words arguments;
    Text input;
    TaskOutcome expected;
  };
  const Case cases[] = {
      {"nothing to tell", program("end"), {"exit", "0"}, {}, {0, {}, {}}},
      {"a status is no failure", program("end"), {"exit", "3"}, {}, {3, {}, {}}},
      {"exit statuses have eight bits", program("end"), {"exit", "300"}, {}, {44, {}, {}}},
      {"a signal is a status", program("end"), {"signal", "9"}, {}, {9, {}, {}}},
      {"output is not trimmed", shell, {"-c", "echo ' line'; exit 3"}, {}, {3, " line\n", {}}},
      {"error output alone", shell, {"-c", "echo wrong >&2"}, {}, {0, {}, "wrong\n"}},
      {"bytes that are no UTF-8 are left out", shell, {"-c", "printf '\\377'; printf ok >&2"}, {}, {0, {}, "ok"}},
      {"nor is a cut-off character", shell, {"-c", "printf ok; printf '\\343\\201' >&2"}, {}, {0, "ok", {}}},
      {"zero bytes stay", shell, {"-c", "printf 'a\\000b\\r\\n'"}, {}, {0, std::string("a\0b\r\n", 5), {}}},
      {"arguments pass unchanged", echo, {"", " two ", "$HOME *", "-x"}, {}, {0, echoed, {}}},
      {"an argument of any bytes", shell, {"-c", "printf %s $1 | od -An -tx1", "-", "\xFF"}, {}, {0, " ff\n", {}}},
      {"input ends after it was written", "/bin/cat", {}, "some\ninput", {0, "some\ninput", {}}},
      {"without an input it does not end", program("wait_for_input"), {}, {}, {0, "stays open\n", {}}},
      {"an empty input is none", program("wait_for_input"), {}, "", {0, "stays open\n", {}}},
      {"input that nobody reads", program("close_input"), {}, std::string(4 << 20, 'x'), {0, "closed\n", {}}},
      {"much of it goes through", "/bin/cat", {}, much, {0, much, {}}},
      {"error output that a pipe holds", program("write_bytes"), {"2", "900000"}, {}, {0, {}, written(900'000)}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(launch(c.path, c.arguments, c.input), c.expected);
  }
}

TEST(LaunchSync, SaysWhyAToolWasNotLaunched) {
  const TemporaryFolder folder;
  const std::string plain = folder.write("plain", "no program");
  const std::string shebangless = script(folder, "shebangless", "echo no shell takes this\n");
  const std::string orphan = script(folder, "orphan", "#!/no/such/interpreter\n");
  const std::string fine = script(folder, "fine", "#!/bin/sh\necho fine\n");
  const std::string zero("/bin/true\0x", 11);

  struct Case {
    const char* why;
    std::string path;
    Words arguments;
    Text directory;
    const char* place;  // that the reason names
    const char* reason;
  };
  const Case cases[] = {
      {"missing", "/no/such/tool", {}, {}, "/no/such/tool", "No such file or directory"},
      {"empty", "", {}, {}, "", "No such file or directory"},
      {"no search path", "sh", {}, {}, "sh", "No such file or directory"},
      {"not executable", plain, {}, {}, "plain", "Permission denied"},
      {"a directory", "/tmp", {}, {}, "/tmp", "Permission denied"},
      {"no format", shebangless, {}, {}, "shebangless", "Exec format error"},
      {"no interpreter", orphan, {}, {}, "orphan", "No such file or directory"},
      {"a zero byte in the path", zero, {}, {}, "/bin/true", "Invalid argument"},
      {"a zero byte in an argument", "/bin/echo", {"ok", zero}, {}, "/bin/echo", "Invalid argument"},
      {"too long an argument", "/bin/echo", {std::string(1 << 17, 'x')}, {}, "/bin/echo", "Argument list too long"},
      {"no directory", fine, {}, "/no/such/folder", "/no/such/folder", "No such file or directory"},
      {"an empty directory", fine, {}, "", "directory", "No such file or directory"},
      {"a directory that is none", fine, {}, plain, "plain", "Not a directory"},
      {"a zero byte in the directory", fine, {}, zero, "/bin/true", "Invalid argument"},
  };
  const auto descriptors = jvtest::descriptors();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    for (const Text& input : {Text(), Text("short"), Text(std::string(4 << 20, 'x'))}) {
      const Value result = NSTask::launchSyncWithPath(c.path, c.arguments, input, c.directory);
      EXPECT_EQ(result.dictionary()->size(), 2U);
      EXPECT_EQ(*result.number("JVTaskStatus"), JVFoundation::NSNumber(std::int32_t{-666}));
      ASSERT_TRUE(result.text("JVTaskError"));
      EXPECT_THAT(*result.text("JVTaskError"), testing::AllOf(HasSubstr(c.place), HasSubstr(c.reason)));
    }
  }
  EXPECT_EQ(launch(fine), (TaskOutcome{0, "fine\n", {}}));
  EXPECT_EQ(jvtest::descriptors(), descriptors);
  EXPECT_FALSE(jvtest::hasChildren());
}

TEST(LaunchSync, UsesTheDirectoryForTheToolAlone) {
  const TemporaryFolder folder;
  script(folder, "here", "#!/bin/sh\necho found\n");
  const fs::path before = fs::current_path();
  EXPECT_EQ(launch("/bin/pwd", {}, {}, "/").output, "/\n");
  EXPECT_EQ(launch("/bin/pwd", {"-P"}).output, before.string() + "\n");
  EXPECT_EQ(launch("./here", {}, {}, folder.path().string()).output, "found\n") << "a relative path counts from there";
  EXPECT_EQ(fs::current_path(), before);
}

TEST(LaunchSync, WaitsForTheEndOfTheOutputNotOfTheTool) {
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(launch(program("leave_child"), {"300"}), (TaskOutcome{0, "parent\nchild\n", {}}));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300));
}

TEST(LaunchSync, CollectsLargeOutputs) {
  for (const std::size_t size : {65'535U, 65'536U, 65'537U, 1'048'576U, 1'048'577U, 40'000'000U}) {
    const TaskOutcome outcome = launch(program("write_bytes"), {"1", std::to_string(size)});
    EXPECT_TRUE(outcome.output == written(size)) << size;
  }
}

TEST(LaunchSync, DictionaryHoldsASigned32BitNumberAndTexts) {
  const Value result = NSTask::launchSyncWithPath("/bin/sh", {"-c", "echo a; echo b >&2; exit 5"});
  EXPECT_EQ(result, (Value(JVFoundation::Dictionary{
                        {"JVTaskStatus", std::int32_t{5}}, {"JVTaskOutput", "a\n"}, {"JVTaskError", "b\n"}})));
}

/// Overrides the longest forms alone.
struct Recording final : NSTask::Class {
  using Class::launchAsyncWithPath;
  using Class::launchSyncWithPath;
  Value launchSyncWithPath(std::string_view path, const Words& arguments, std::optional<std::string_view> input,
                           std::optional<std::string_view> directory) const override {
    calls.push_back(std::string(path) + (input ? " input" : "") + (directory ? " directory" : ""));
    return Class::launchSyncWithPath(path, arguments, input, directory);
  }
  void launchAsyncWithPath(std::string_view path, const Words&, std::optional<std::string_view> input,
                           std::optional<std::string_view> directory, NSTask::CompletionHandler) const override {
    calls.push_back(std::string(path) + (input ? " input" : "") + (directory ? " directory" : ""));
  }
  mutable Words calls;
};

TEST(TaskClass, ShorterFormsReachAnOverriddenLongerOne) {
  const Recording recording;
  const NSTask::Class& methods = recording;
  EXPECT_EQ(outcomeOf(methods.launchSyncWithPath("/bin/echo", {"a"})).output, "a\n");
  EXPECT_EQ(outcomeOf(recording.launchSyncWithPath("/bin/cat", {}, "b")).output, "b");
  methods.launchAsyncWithPath("/c", {}, nullptr);
  methods.launchAsyncWithPath("/d", {}, "input", nullptr);
  EXPECT_THAT(recording.calls, testing::ElementsAre("/bin/echo", "/bin/cat input", "/c", "/d input"));
}

}  // namespace
