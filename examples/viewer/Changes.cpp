#include "Changes.h"

#include <JorvaneFoundation/system/JVSystemConfigListener.h>
#include <JorvaneFoundation/system/JVUser.h>

#include <utility>

Changes::Changes(std::function<void(const QString&)> say) : say_(std::move(say)) {
  // Asking for the shared objects is what starts the watching.
  auto& listener = JVSystemConfigListener::sharedListener();
  static_cast<void>(JVUser::sharedUser());

  follow(JVComputerNameChangedNotification, [&listener] {
    return "This computer is now called " + QString::fromStdString(listener.computerName().value_or("")) + ".";
  });
  follow(JVIPAddressChangedNotification, [&listener] {
    return "The network is now " + QString::fromStdString(listener.networkState().value_or("")) + ".";
  });
  follow(JVUserDidBecomeActiveNotification, [] { return QString("Welcome back."); });
}

void Changes::follow(const char* notification, std::function<QString()> text) {
  tokens_.push_back(JVFoundation::NSNotificationCenter::defaultCenter().addObserver(
      notification, nullptr, [this, text = std::move(text)](const JVFoundation::NSNotification&) { say_(text()); }));
}
