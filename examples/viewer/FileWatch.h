// Following the changes of a file.
#pragma once

#include <JorvaneFoundation/fileevents/JVFileEventer.h>

#include <QString>
#include <functional>
#include <memory>

/// Calls @p changed on the main thread after each change of a file, from its constructor to its destructor. The file
/// may come, go and be replaced by another one of its name, as most editors do when they save.
class FileWatch {
 public:
  FileWatch(const QString& path, std::function<void()> changed);

 private:
  class Delegate;

  std::shared_ptr<Delegate> delegate_;
  JVFileEventer eventer_;  // last: its destructor waits until the delegate is not called any more
};
