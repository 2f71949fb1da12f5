#include "ending_signals.h"

#include <initializer_list>

namespace jv {

sigset_t blockEndingSignals() {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction now = {};
    sigaction(signal, nullptr, &now);
    if (now.sa_handler != SIG_IGN) sigaddset(&ending, signal);
  }
  pthread_sigmask(SIG_BLOCK, &ending, nullptr);
  return ending;
}

}  // namespace jv
