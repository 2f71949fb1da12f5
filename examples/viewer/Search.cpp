#include "Search.h"

#include <QStringView>
#include <utility>

namespace {

/// All places of @p wanted, up to where @p search was stopped: asked once a piece, between a few milliseconds of work.
Search::Places placesOf(const QString& wanted, const QString& text, const JVDispatch& search) {
  constexpr qsizetype kPiece = 1 << 20;
  Search::Places places;
  if (wanted.isEmpty()) return places;
  for (qsizetype from = 0; from < text.size() && !search.isStopped(); from += kPiece) {
    const QStringView piece = QStringView(text).mid(from, kPiece + wanted.size() - 1);
    qsizetype at = -1;
    while ((at = piece.indexOf(wanted, at + 1, Qt::CaseInsensitive)) >= 0) places.push_back(from + at);
  }
  return places;
}

}  // namespace

Search::Search(std::function<void(const Places&)> found) : found_(std::move(found)) {}

Search::~Search() { dispatch_.setStopped(true); }

void Search::start(const QString& text, const QString& wanted) {
  const auto places = std::make_shared<Places>();
  dispatch_.dispatchHandler([search = dispatch_, text, wanted, places] { *places = placesOf(wanted, text, search); },
                            [this, places, number = ++*newest_, weak = std::weak_ptr(newest_)] {
                              // This object may be gone; and searches that were waiting when a newer one came have run
                              // to their end all the same.
                              const auto newest = weak.lock();
                              if (newest && *newest == number) found_(*places);
                            });
}
