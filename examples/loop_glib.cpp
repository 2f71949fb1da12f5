// The main run loop inside GLib's.
#include <glib-unix.h>

#include "loop_program.h"

int main() {
  GMainLoop* const glib = g_main_loop_new(nullptr, FALSE);

  GSource* const source = g_unix_fd_source_new(JVFoundation::NSRunLoop::mainRunLoop().fileDescriptor(), G_IO_IN);
  const GUnixFDSourceFunc drain = [](int, GIOCondition, void*) -> gboolean {
    JVFoundation::NSRunLoop::mainRunLoop().drain();
    return G_SOURCE_CONTINUE;
  };
  g_source_set_callback(source, G_SOURCE_FUNC(drain), nullptr, nullptr);
  g_source_set_can_recurse(source, TRUE);  // or a dialog that a handler runs would get nothing
  g_source_attach(source, nullptr);

  startProgram([glib] { g_main_loop_quit(glib); });
  g_main_loop_run(glib);

  g_source_destroy(source);
  g_source_unref(source);
  g_main_loop_unref(glib);
}
