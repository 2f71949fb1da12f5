// write_bytes DESCRIPTOR COUNT [PIECE]: writes COUNT bytes of text to DESCRIPTOR, in pieces of PIECE bytes (64 KiB).
#include <stdlib.h>
#include <unistd.h>

static char text[64 * 1024];

int main(int argc, char** argv) {
  const int descriptor = atoi(argv[1]);
  unsigned long long count = strtoull(argv[2], NULL, 10);
  const unsigned long long piece = argc > 3 ? strtoull(argv[3], NULL, 10) : sizeof text;
  for (size_t at = 0; at < sizeof text; ++at) text[at] = at % 80 == 79 ? '\n' : 'x';
  while (count > 0) {
    const ssize_t written = write(descriptor, text, count < piece ? count : piece);
    if (written < 0) return 1;
    count -= (unsigned long long)written;
  }
  return 0;
}
