// show_state: what it was started with, a line each: open descriptors, blocked and ignored signals, the working
// directory, and one variable of the environment.
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

int main(void) {
  printf("open");
  for (int descriptor = 0; descriptor < 4096; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) printf(" %d", descriptor);
  }
  sigset_t blocked;
  sigprocmask(SIG_BLOCK, NULL, &blocked);
  printf("\nblocked");
  for (int number = 1; number < NSIG; ++number) {
    if (sigismember(&blocked, number) > 0) printf(" %d", number);
  }
  printf("\nignored");
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action;
    if (sigaction(number, NULL, &action) == 0 && action.sa_handler == SIG_IGN) printf(" %d", number);
  }
  char directory[PATH_MAX];
  printf("\ndirectory %s\n", getcwd(directory, sizeof directory));
  const char* variable = getenv("JV_TEST_VARIABLE");
  printf("variable %s\n", variable ? variable : "none");
  return 0;
}
