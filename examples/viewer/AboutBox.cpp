#include "AboutBox.h"

#include <JorvaneFoundation/dispatch/JVDispatch.h>
#include <JorvaneFoundation/fonts/NSFont.h>
#include <JorvaneFoundation/foundation/version.h>
#include <JorvaneFoundation/geometry/rectangles.h>
#include <JorvaneFoundation/geometry/screen_lookup.h>
#include <JorvaneFoundation/system/JVUtilities.h>
#include <JorvaneFoundation/system/NSProcessInfo.h>

#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QPointer>
#include <QScreen>
#include <memory>
#include <string>
#include <vector>

namespace {

struct Row {
  QString name;
  QString value;
};
using Rows = std::vector<Row>;

QString text(const std::string& utf8) { return QString::fromStdString(utf8); }

/// Qt measures from the upper left corner of its desktop, y downwards; the library from the lower left corner of the
/// primary screen, y upwards.
NSRect placeOf(const QWidget& window) {
  const QRect frame = window.frameGeometry();
  const QRect primary = QGuiApplication::primaryScreen()->geometry();
  return {{static_cast<double>(frame.x() - primary.x()),
           static_cast<double>(primary.y() + primary.height() - frame.y() - frame.height())},
          {static_cast<double>(frame.width()), static_cast<double>(frame.height())}};
}

void addFacts(Rows& rows) {
  rows.push_back({"System", text(JVFoundation::NSProcessInfo::processInfo().operatingSystemVersionString())});
  rows.push_back({"Computer", text(JVUtilities::computerName())});
  if (const auto model = JVUtilities::computerModel(); !model.empty()) rows.push_back({"Model", text(model)});
  if (const auto name = JVUtilities::userName()) rows.push_back({"User", text(*name)});
  if (const auto email = JVUtilities::userEmail()) rows.push_back({"E-mail", text(*email)});
  std::string interface;
  const std::string address = JVUtilities::ipAddress(&interface);
  rows.push_back({"Network", text(address + " (" + interface + ")")});
}

void addScreens(Rows& rows, NSPoint middleOfWindow) {
  const auto screens = JVScreens();
  const auto ours = JVScreenForPoint(middleOfWindow, screens);
  for (const auto& screen : screens) {
    const auto [origin, size] = screen->frame();
    const QString shown = QString("%1 \u00d7 %2 at %3, %4%5")
                              .arg(size.width)
                              .arg(size.height)
                              .arg(origin.x)
                              .arg(origin.y)
                              .arg(screen == ours ? "  (this window)" : "");
    rows.push_back({"Screen " + text(screen->name()), shown});
  }
}

void addFonts(Rows& rows) {
  const auto font = JVFoundation::NSFont::systemFontOfSize(12);
  if (!font) return;
  rows.push_back({"Font", text(font->fullDisplayName()) + QString(", %1 points a line").arg(font->lineHeight())});
  if (const auto bold = font->boldFont()) rows.push_back({"Its bold face", text(bold->displayName())});
}

void openBox(QWidget* window, const Rows& rows) {
  auto* const box = new QDialog(window);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setWindowTitle("About this viewer");
  auto* const form = new QFormLayout(box);
  form->addRow(new QLabel(QString("<h2>Viewer</h2>with JorvaneFoundation %1").arg(JorvaneFoundationVersion)));
  for (const Row& row : rows) {
    auto* const value = new QLabel(row.value);
    value->setTextFormat(Qt::PlainText);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    form->addRow(row.name, value);
  }
  auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Close);
  QObject::connect(buttons, &QDialogButtonBox::rejected, box, &QDialog::close);
  form->addRow(buttons);
  box->open();
}

}  // namespace

void openAboutBox(QWidget* window) {
  // Other programs are asked for some of the facts: that is nothing to keep the user waiting for.
  const auto rows = std::make_shared<Rows>();
  JVDispatch("about").dispatchHandler(
      [rows, middle = JVRectCenter(placeOf(*window))] {
        addFacts(*rows);
        addScreens(*rows, middle);
        addFonts(*rows);
      },
      [rows, window = QPointer(window)] {
        if (window) openBox(window, *rows);
      });
}
