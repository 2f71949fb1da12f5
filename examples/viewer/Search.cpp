#include "Search.h"

#include <QStringView>

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

void Search::start(const QString& text, const QString& wanted) {
  newest_.request([text, wanted](const JVDispatch& search) { return placesOf(wanted, text, search); });
}
