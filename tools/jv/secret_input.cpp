#include "secret_input.h"

#include <fcntl.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <utility>

namespace jv {
namespace {

constexpr char kGiveUp = 3;  // Ctrl-C

/// The terminal that controls the process, with echo and signals off. Ctrl-C is read as a character, since a process
/// that it ended would leave the terminal mute.
class MuteTerminal {
 public:
  MuteTerminal() : descriptor_(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (descriptor_ < 0) throw std::runtime_error("there is no terminal to ask on");
    tcgetattr(descriptor_, &before_);
    termios mute = before_;
    mute.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
    mute.c_cc[VEOL] = kGiveUp;  // it ends the line, so that nobody has to press Enter behind it
    tcsetattr(descriptor_, TCSAFLUSH, &mute);
  }
  MuteTerminal(const MuteTerminal&) = delete;
  MuteTerminal& operator=(const MuteTerminal&) = delete;
  ~MuteTerminal() {
    tcsetattr(descriptor_, TCSAFLUSH, &before_);
    say("\n");
    close(descriptor_);
  }

  void say(std::string_view text) const { (void)!write(descriptor_, text.data(), text.size()); }
  [[nodiscard]] int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
  termios before_{};
};

/// Appends one read to @p secret. @return whether there was anything.
bool readSome(int descriptor, std::string& secret) {
  std::array<char, 4096> buffer;
  ssize_t got = -1;
  do {
    got = read(descriptor, buffer.data(), buffer.size());
  } while (got < 0 && errno == EINTR);
  if (got < 0) throw std::runtime_error(std::string("cannot read the secret: ") + strerror(errno));
  const auto size = static_cast<std::size_t>(got);
  if (secret.size() + size > secret.capacity()) {  // growing by itself would leave the old bytes behind
    SecretText larger;
    larger.text.reserve(2 * (secret.size() + size));
    larger.text = secret;
    std::swap(larger.text, secret);
  }
  secret.append(buffer.data(), size);
  explicit_bzero(buffer.data(), buffer.size());
  return size > 0;
}

/// Overwrites all memory of @p text: what lies behind its end held bytes once.
void wipeAll(std::string& text) noexcept {
  text.resize(text.capacity());
  explicit_bzero(text.data(), text.size());
  text.clear();
}

void dropLineFeed(std::string& text) {
  if (text.ends_with('\n')) text.pop_back();
}

}  // namespace

void wipe(void* bytes, std::size_t size) noexcept {
  if (size > 0) explicit_bzero(bytes, size);
}

SecretText::SecretText(std::string&& secret) noexcept : text(std::move(secret)) { wipeAll(secret); }

SecretText::SecretText(SecretText&& other) noexcept : text(std::move(other.text)) { wipeAll(other.text); }

SecretText::~SecretText() { wipeAll(text); }

SecretText askForSecret(std::string_view prompt) {
  const MuteTerminal terminal;
  terminal.say(prompt);
  SecretText secret;
  while (!secret.text.ends_with('\n') && readSome(terminal.descriptor(), secret.text)) {
    if (secret.text.find(kGiveUp) != std::string::npos) throw std::runtime_error("given up");
  }
  if (secret.text.empty()) throw std::runtime_error("given up");
  dropLineFeed(secret.text);
  return secret;
}

SecretText readSecret(int descriptor) {
  SecretText secret;
  while (readSome(descriptor, secret.text)) {
  }
  dropLineFeed(secret.text);
  return secret;
}

SecretText secretFromStandardInput(std::string_view prompt) {
  return isatty(STDIN_FILENO) != 0 ? askForSecret(prompt) : readSecret(STDIN_FILENO);
}

}  // namespace jv
