// Searching while the user types.
#pragma once

#include <JorvaneFoundation/dispatch/LatestResult.h>

#include <QString>
#include <functional>
#include <utility>
#include <vector>

/// Finds all places of a text in another one, in the background.
class Search {
 public:
  using Places = std::vector<qsizetype>;

  /// @param found  called on the main thread with the result of the newest search alone.
  explicit Search(std::function<void(const Places&)> found) : newest_("search", std::move(found)) {}

  /// Starts a search, whatever the case of letters; the one that is running gives up.
  void start(const QString& text, const QString& wanted);

 private:
  JVFoundation::LatestResult<Places> newest_;
};
