#include "FileWatch.h"

#include <JorvaneFoundation/dispatch/DispatchQueue.h>

#include <QFile>
#include <string>
#include <utility>
#include <vector>

class FileWatch::Delegate : public JVFileEventerDelegate, public std::enable_shared_from_this<Delegate> {
 public:
  explicit Delegate(std::function<void()> changed) : changed_(std::move(changed)) {}

  // Called on the watcher's own queue: the window must be told on the main thread, and only if it still wants to know.
  void fileSystemEventHappenedAtPaths(const std::vector<std::string>&) override {
    JVFoundation::DispatchQueue::mainQueue().async([weak = weak_from_this()] {
      if (const auto delegate = weak.lock()) delegate->changed_();
    });
  }

 private:
  const std::function<void()> changed_;
};

FileWatch::FileWatch(const QString& path, std::function<void()> changed)
    : delegate_(std::make_shared<Delegate>(std::move(changed))),
      eventer_(delegate_, {QFile::encodeName(path).toStdString()}, true) {}
