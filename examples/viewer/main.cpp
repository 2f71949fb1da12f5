// A small text viewer: the library in an application of Qt's. Each file beside this one is about one service.
#include <JorvaneFoundation/dispatch/NSRunLoop.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QSocketNotifier>

#include "Window.h"

using JVFoundation::NSRunLoop;

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setApplicationDisplayName("Viewer");

  QCommandLineParser options;
  options.setApplicationDescription("Shows a text file in the encoding that it is in, and follows its changes.");
  options.addHelpOption();
  options.addOption({"say", "Repeat on standard output what the title and the status line say, a line each."});
  options.addPositionalArgument("file", "The file to show.", "[file]");
  options.process(application);

  // Whatever the library has to do on the main thread arrives through this descriptor.
  QSocketNotifier notifier(NSRunLoop::mainRunLoop().fileDescriptor(), QSocketNotifier::Read);
  QObject::connect(&notifier, &QSocketNotifier::activated, [] { NSRunLoop::mainRunLoop().drain(); });

  Window window(options.isSet("say"));
  const QStringList files = options.positionalArguments();
  if (!files.isEmpty()) window.open(files.first());
  window.show();
  return QApplication::exec();
}
