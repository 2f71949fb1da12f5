// close_input: reads nothing.
#include <stdio.h>
#include <unistd.h>

int main(void) {
  close(0);
  puts("closed");
  return 0;
}
