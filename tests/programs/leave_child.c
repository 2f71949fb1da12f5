// leave_child MILLISECONDS: ends at once, but leaves a child that holds the output for so long.
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

int main(int argc, char** argv) {
  if (argc < 2) return 99;
  if (fork() == 0) {
    usleep((useconds_t)atoi(argv[1]) * 1000);
    return write(1, "child\n", 6) != 6;
  }
  return write(1, "parent\n", 7) != 7;
}
