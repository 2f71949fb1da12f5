// echo_arguments …: writes each word of its argument vector in brackets, a line each.
#include <stdio.h>

int main(int argc, char** argv) {
  for (int i = 0; i < argc; ++i) printf("[%s]\n", argv[i]);
  return 0;
}
