#include "Window.h"

#include <QAction>
#include <QApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontDatabase>
#include <QPointer>
#include <QScrollBar>
#include <QStatusBar>
#include <QTextCursor>
#include <QToolBar>
#include <algorithm>
#include <cstdio>
#include <utility>

#include "AboutBox.h"
#include "FtpDialog.h"
#include "download.h"

Window::Window(bool aloud) : aloud_(aloud) {
  layOut();
  addActions();
  connect(this, &QWidget::windowTitleChanged, this, [this](const QString& title) { print("title", title); });
  connect(wanted_, &QLineEdit::textChanged, this, &Window::search);
  connect(wanted_, &QLineEdit::returnPressed, this, &Window::goToNextPlace);
}

void Window::layOut() {
  resize(760, 520);
  setCentralWidget(text_);
  text_->setReadOnly(true);
  text_->setFrameShape(QFrame::NoFrame);
  text_->document()->setDocumentMargin(16);
  text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  message_->setTextFormat(Qt::PlainText);  // whatever names of files and computers may look like
  message_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  statusBar()->addWidget(message_, 1);
  statusBar()->addPermanentWidget(format_);
}

void Window::addActions() {
  auto* const bar = addToolBar("Tools");
  bar->setMovable(false);
  bar->addAction("Open…", QKeySequence::Open, this, &Window::chooseFile);
  bar->addAction("Open from FTP…", QKeySequence("Ctrl+Shift+O"), this, &Window::askForFtp);
  bar->addAction("About", QKeySequence::HelpContents, this, [this] { openAboutBox(this); });
  auto* const gap = new QWidget;
  gap->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  bar->addWidget(gap);
  bar->addWidget(wanted_);
  wanted_->setMaximumWidth(280);
  wanted_->setPlaceholderText("Search");
  wanted_->setClearButtonEnabled(true);
  const auto add = [this](QKeySequence key, auto act) {
    auto* const action = new QAction(this);
    action->setShortcut(std::move(key));
    connect(action, &QAction::triggered, this, act);
    addAction(action);
  };
  add(QKeySequence::Find, [this] { wanted_->setFocus(); });
  add(QKeySequence::Quit, [] { QApplication::quit(); });
}

void Window::say(const QString& message) {
  message_->setText(message);
  print("status", message);
}

void Window::print(const char* where, const QString& text) const {
  if (!aloud_) return;
  std::printf("%s: %s\n", where, text.toUtf8().constData());
  std::fflush(stdout);
}

// --- files ---

void Window::open(const QString& path) {
  path_ = QFileInfo(path).absoluteFilePath();
  document_ = {};
  text_->clear();
  format_->clear();
  setWindowTitle(QFileInfo(path_).fileName());
  // First the watch, so that no change between the two is missed.
  watch_ = std::make_unique<FileWatch>(path_, [this] { read("Reloaded"); });
  read("Opened");
}

void Window::read(const QString& done) {
  const QString name = QFileInfo(path_).fileName();
  Document fresh = readDocument(path_);
  if (!fresh.problem.isEmpty()) return say(name + ": " + fresh.problem);
  if (fresh.encoding == document_.encoding && fresh.text == document_.text) return;
  document_ = std::move(fresh);

  const int position = text_->verticalScrollBar()->value();
  text_->setPlainText(document_.text);
  text_->verticalScrollBar()->setValue(position);
  const QString format = document_.encoding + ", " + document_.lineBreaks;
  format_->setText(format);
  setWindowTitle(name + " (" + format + ")");
  say(done + " " + name + ".");
  search();
}

void Window::chooseFile() {
  const QString path = QFileDialog::getOpenFileName(this);
  if (!path.isEmpty()) open(path);
}

void Window::askForFtp() {
  auto* const dialog = new FtpDialog(this, [self = QPointer(this)](const QString& message) {
    if (self) self->say(message);
  });
  connect(dialog, &QDialog::accepted, this, [this, dialog] { fetch(*dialog); });
  dialog->open();
}

void Window::fetch(const FtpDialog& dialog) {
  const QUrl address = dialog.address();
  if (!downloads_) downloads_ = std::make_unique<QTemporaryDir>();
  const QString path = downloads_->filePath(QFileInfo(address.fileName()).fileName());
  say("Fetching " + address.toDisplayString() + " …");
  download(address, dialog.user(), dialog.password(), path, [self = QPointer(this), path](const QString& problem) {
    if (!self) return;
    if (problem.isEmpty()) self->open(path);
    if (!problem.isEmpty()) self->say(problem);
  });
}

// --- the search ---

void Window::search() {
  places_.clear();
  search_.start(document_.text, wanted_->text());
}

void Window::showPlaces(const Search::Places& places) {
  constexpr std::size_t kMostMarked = 1000;  // Qt slows down with many
  places_ = places;
  const auto length = wanted_->text().size();
  QList<QTextEdit::ExtraSelection> marks;
  for (std::size_t i = 0; i < std::min(places.size(), kMostMarked); ++i) {
    QTextEdit::ExtraSelection mark{text_->textCursor(), {}};
    mark.cursor.setPosition(static_cast<int>(places[i]));
    mark.cursor.setPosition(static_cast<int>(places[i] + length), QTextCursor::KeepAnchor);
    mark.format.setBackground(QColor(255, 224, 130));
    marks.append(mark);
  }
  text_->setExtraSelections(marks);
  if (!wanted_->text().isEmpty()) say(wanted_->text() + " found: " + QString::number(places.size()));
}

void Window::goToNextPlace() {
  if (places_.empty()) return;
  auto next = std::lower_bound(places_.begin(), places_.end(), text_->textCursor().selectionEnd());
  if (next == places_.end()) next = places_.begin();
  QTextCursor cursor = text_->textCursor();
  cursor.setPosition(static_cast<int>(*next));
  cursor.setPosition(static_cast<int>(*next + wanted_->text().size()), QTextCursor::KeepAnchor);
  text_->setTextCursor(cursor);
}
