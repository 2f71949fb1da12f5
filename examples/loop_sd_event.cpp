// The main run loop inside sd-event's.
#include <sys/epoll.h>
#include <systemd/sd-event.h>

#include "loop_program.h"

int main() {
  sd_event* event = nullptr;
  if (sd_event_default(&event) < 0) return 1;

  sd_event_source* source = nullptr;
  const sd_event_io_handler_t drain = [](sd_event_source*, int, std::uint32_t, void*) {
    JVFoundation::NSRunLoop::mainRunLoop().drain();
    return 0;
  };
  const int descriptor = JVFoundation::NSRunLoop::mainRunLoop().fileDescriptor();
  if (sd_event_add_io(event, &source, descriptor, EPOLLIN, drain, nullptr) < 0) return 1;

  startProgram([event] { sd_event_exit(event, 0); });
  const int status = sd_event_loop(event);

  sd_event_source_unref(source);
  sd_event_unref(event);
  return status;
}
