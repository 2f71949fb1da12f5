// What comes of a tool, whichever way it is run.
#include <gmock/gmock.h>

#include <filesystem>

#include "support/temporary_folder.h"
#include "tasks/support.h"

namespace {

namespace fs = std::filesystem;
using jv::test::TemporaryFolder;
using jvtest::TaskOutcome;
using jvtest::Text;
using jvtest::Words;
using testing::HasSubstr;

class Launch : public jvtest::BothWays {};
INSTANTIATE_TEST_SUITE_P(, Launch, testing::Values(jvtest::launchSync, jvtest::launchAsync));

std::string script(const TemporaryFolder& folder, std::string_view name, std::string_view contents) {
  std::string path = folder.write(name, contents);
  fs::permissions(path, fs::perms::owner_all);
  return path;
}

TEST_P(Launch, GivesStatusOutputAndError) {
  const std::string much(4 << 20, 'x'), cmdline("/bin/cat\0-u\0/proc/self/cmdline", 31);
  const struct {
    const char* why;
    std::string line;  // for the shell; or a path
    TaskOutcome expected;
    Text input = {};
    Words arguments = {};
  } cases[] = {
      {"exit statuses have eight bits", "exit 300", {44, {}, {}}},
      {"a signal is a status", "kill -9 $$", {9, {}, {}}},
      {"output is not trimmed", "echo ' line'; exit 3", {3, " line\n", {}}},
      {"bytes that are no UTF-8 are left out", "printf '\\377'; printf ok >&2", {0, {}, "ok"}},
      {"so is a cut-off character", "printf ok; printf '\\343\\201' >&2", {0, "ok", {}}},
      {"zero bytes stay, path and arguments pass", "/bin/cat", {0, cmdline, {}}, {}, {"-u", "/proc/self/cmdline"}},
      {"any arguments", "/usr/bin/printf", {0, "[][ two ][$HOME *]", {}}, {}, {"[%s]", "", " two ", "$HOME *"}},
      {"input ends after it was written", "/bin/cat", {0, "some\ninput", {}}, "some\ninput"},
      {"without an input it does not end", "timeout 0.3 cat; echo $?", {0, "124\n", {}}},
      {"an empty input is none", "timeout 0.3 cat; echo $?", {0, "124\n", {}}, ""},
      {"input that nobody reads", "exec 0<&-; echo closed", {0, "closed\n", {}}, much},
      {"large streams", "cat | wc -c; head -c 900000 /dev/zero >&2", {0, "4194304\n", std::string(900'000, 0)}, much},
      {"output that is there before all input was read",
       "/bin/cat",
       {0, much.substr(0, 700'000), {}},
       much.substr(0, 700'000)},
      {"more output than fits anywhere",
       "/usr/bin/head",
       {0, std::string(40'000'001, 0), {}},
       {},
       {"-c", "40000001", "/dev/zero"}},
      {"the end of the output, not of the tool", "(sleep 0.3; echo child) & echo parent", {0, "parent\nchild\n", {}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    if (c.line.starts_with('/'))
      EXPECT_EQ(launch(c.line, c.arguments, c.input), c.expected);
    else
      EXPECT_EQ(launch("/bin/sh", {"-c", c.line}, c.input), c.expected);
  }
}

TEST_P(Launch, SaysWhyAToolWasNotLaunched) {
  const TemporaryFolder folder;
  const std::string plain = folder.write("plain", "no program");
  const std::string zero("/bin/true\0x", 11), cannot = "Cannot launch ", change = "Cannot change to the directory ";
  const struct {
    std::string path;
    Words arguments;
    Text directory;
    std::string reason;
  } cases[] = {
      {"/no/such/tool", {}, {}, cannot + "/no/such/tool: No such file or directory"},
      {plain, {}, {}, cannot + plain + ": Permission denied"},
      {"/tmp", {}, {}, cannot + "/tmp: Permission denied"},
      {script(folder, "a", "echo no shell\n"), {}, {}, "Exec format error"},
      {script(folder, "b", "#!/no/such/interpreter\n"), {}, {}, "No such file or directory"},
      {zero, {}, {}, "Invalid argument"},
      {"/bin/echo", {std::string(1 << 17, 'x')}, {}, "Argument list too long"},
      {"/bin/echo", {}, "/no/such/folder", change + "/no/such/folder: No such file or directory"},
      {"/bin/echo", {}, plain, change + plain + ": Not a directory"},
      {"/bin/echo", {}, zero, "Invalid argument"},
  };
  for (const auto& c : cases) {
    for (const Text& input : {Text(), Text(std::string(4 << 20, 'x'))}) {
      SCOPED_TRACE(c.path + ": " + c.reason);
      const TaskOutcome outcome = launch(c.path, c.arguments, input, c.directory);
      EXPECT_EQ(outcome.status, -666);
      EXPECT_EQ(outcome.output, std::nullopt);
      EXPECT_THAT(outcome.error.value_or(""), HasSubstr(c.reason));
    }
  }
}

}  // namespace
