// A program without a loop of its own runs the library's.
#include "loop_program.h"

int main() {
  JVFoundation::NSRunLoop& loop = JVFoundation::NSRunLoop::mainRunLoop();
  startProgram([&loop] { loop.stop(); });
  loop.run();
}
