// end exit STATUS, end signal NUMBER: ends that way.
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv) {
  if (argc < 3) return 99;
  if (strcmp(argv[1], "exit") == 0) return atoi(argv[2]);
  kill(getpid(), atoi(argv[2]));
  return 99;
}
