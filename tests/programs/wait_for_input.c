// wait_for_input: says whether its input ends, or stays open without a byte for a while.
#include <poll.h>
#include <stdio.h>

int main(void) {
  struct pollfd input = {0, POLLIN, 0};
  puts(poll(&input, 1, 300) == 0 ? "stays open" : "ends");
  return 0;
}
