// What changes around the application.
#pragma once

#include <JorvaneFoundation/foundation/NSNotificationCenter.h>

#include <QString>
#include <functional>
#include <vector>

/// Says, on the main thread and in words for people, when the computer gets another name or address, and when the user's
/// login session becomes the active one again.
class Changes {
 public:
  explicit Changes(std::function<void(const QString&)> say);

 private:
  void follow(const char* notification, std::function<QString()> text);

  std::function<void(const QString&)> say_;
  std::vector<JVFoundation::NSNotificationCenter::Token> tokens_;  // observe as long as they live
};
