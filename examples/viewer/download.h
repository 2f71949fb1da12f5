// Running a tool in the background.
#pragma once

#include <QString>
#include <QUrl>
#include <functional>

/// Fetches what is at @p address into the file @p path with the tool curl.
/// @param finished  called on the main thread with what went wrong; empty when nothing did.
void download(const QUrl& address, const QString& user, const QString& password, const QString& path,
              std::function<void(const QString& problem)> finished);
