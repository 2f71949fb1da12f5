/// A session bus with a real password service, of a test's own.
#pragma once

#include <JorvaneFoundation/platform/Keychain.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace jvtest {

/// Starts `password_service.py`, puts its variables into the environment, and the default keychain anew in use. Ends
/// the process with status 77 when a component is missing.
class PasswordService {
 public:
  /// @param prompts  how the user answers: "accept", "dismiss" or "hang"; null for no display to ask on.
  explicit PasswordService(const char* prompts = nullptr) {
    int input[2], output[2];
    if (pipe2(input, O_CLOEXEC) < 0 || pipe2(output, O_CLOEXEC) < 0) throw std::runtime_error("no pipe");
    process_ = fork();
    if (process_ == 0) {
      dup2(input[0], 0);
      dup2(output[1], 1);
      // The system's Python has the bindings, not whichever comes first; from the word for itself it takes where it looks.
      execl("/usr/bin/python3", "/usr/bin/python3", "-B", JV_PASSWORD_SERVICE, prompts, nullptr);
      _exit(kSkipped);
    }
    close(input[0]);
    close(output[1]);
    commands_ = fdopen(input[1], "w");
    answers_ = fdopen(output[0], "r");
    for (std::string line = answer(); line != "ready"; line = answer()) {
      const auto equals = line.find('=');
      if (line.starts_with("missing")) skip(line);
      if (equals == std::string::npos) throw std::runtime_error("the password service's starter: " + line);
      setenv(line.substr(0, equals).c_str(), line.substr(equals + 1).c_str(), 1);
    }
    unsetenv("WAYLAND_DISPLAY");
    prompts ? setenv("DISPLAY", ":test", 1) : unsetenv("DISPLAY");
    JVPlatform::installKeychain(nullptr);
  }
  PasswordService(const PasswordService&) = delete;
  PasswordService& operator=(const PasswordService&) = delete;
  ~PasswordService() {
    JVPlatform::installKeychain(nullptr);
    fclose(commands_);
    waitpid(process_, nullptr, 0);
    fclose(answers_);
  }

  /// Has a command done; see `password_service.py`.
  void tell(const std::string& command) {
    std::fprintf(commands_, "%s\n", command.c_str());
    std::fflush(commands_);
    const std::string said = answer();
    if (said != "ok") throw std::runtime_error(command + ": " + said);
  }

 private:
  static constexpr int kSkipped = 77;

  [[noreturn]] static void skip(const std::string& why) {
    std::fprintf(stderr, "skipped: %s\n", why.c_str());
    std::exit(kSkipped);
  }

  std::string answer() {
    char line[4096];
    if (std::fgets(line, sizeof line, answers_) == nullptr) return "no answer";
    std::string text(line);
    return text.substr(0, text.find('\n'));
  }

  pid_t process_ = -1;
  FILE* commands_ = nullptr;
  FILE* answers_ = nullptr;
};

}  // namespace jvtest
