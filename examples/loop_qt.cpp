// The main run loop inside Qt's.
#include <QCoreApplication>
#include <QSocketNotifier>

#include "loop_program.h"

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);

  QSocketNotifier notifier(JVFoundation::NSRunLoop::mainRunLoop().fileDescriptor(), QSocketNotifier::Read);
  QObject::connect(&notifier, &QSocketNotifier::activated, [] { JVFoundation::NSRunLoop::mainRunLoop().drain(); });

  startProgram([] { QCoreApplication::quit(); });
  return QCoreApplication::exec();
}
