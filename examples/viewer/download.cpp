#include "download.h"

#include <JorvaneFoundation/tasks/NSTask.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace {

/// A line of curl's configuration.
QString setting(const QString& name, QString value) {
  value.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n").replace('\r', "\\r");
  return name + " = \"" + value + "\"\n";
}

}  // namespace

void download(const QUrl& address, const QString& user, const QString& password, const QString& path,
              std::function<void(const QString&)> finished) {
  // As an argument, everybody on this machine could read the password.
  const QString settings = "silent\nshow-error\n" + setting("proto", "=ftp,ftps") +
                           setting("user", user + ":" + password) + setting("output", path) +
                           setting("url", address.toString(QUrl::FullyEncoded));
  JVFoundation::NSTask::launchAsyncWithPath(
      "/usr/bin/curl", {"--disable", "--config", "-"}, settings.toStdString(),
      [finished = std::move(finished)](std::int32_t status, const std::optional<std::string>&,
                                       const std::optional<std::string>& error) {
        const QString reason = QString::fromStdString(error.value_or("no reason given")).trimmed();
        finished(status == 0 ? QString() : reason);
      });
}
