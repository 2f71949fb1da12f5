// The window: a text, a field to search in it, and a status line.
#pragma once

#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <memory>

#include "Changes.h"
#include "Document.h"
#include "FileWatch.h"
#include "Search.h"

class FtpDialog;

class Window : public QMainWindow {
 public:
  /// @param aloud  whether to repeat on standard output what title and status line say.
  explicit Window(bool aloud);

  /// Shows a file, and from then on follows its changes.
  void open(const QString& path);

 private:
  void layOut();
  void addActions();
  void say(const QString& message);
  void print(const char* where, const QString& text) const;

  void read(const QString& done);
  void chooseFile();
  void askForFtp();
  void fetch(const FtpDialog& dialog);

  void search();
  void showPlaces(const Search::Places& places);
  void goToNextPlace();

  const bool aloud_;
  QPlainTextEdit* const text_ = new QPlainTextEdit;
  QLineEdit* const wanted_ = new QLineEdit;
  QLabel* const message_ = new QLabel;
  QLabel* const format_ = new QLabel;

  QString path_;
  Document document_;
  std::unique_ptr<QTemporaryDir> downloads_;  // once there is one
  Search::Places places_;

  std::unique_ptr<FileWatch> watch_;
  Search search_{[this](const Search::Places& places) { showPlaces(places); }};
  Changes changes_{[this](const QString& message) { say(message); }};
};
