// Passwords in the user's keychain.
#pragma once

#include <JorvaneFoundation/dispatch/JVDispatch.h>

#include <QCheckBox>
#include <QDialog>
#include <QLineEdit>
#include <QUrl>
#include <functional>

/// Asks which file of an FTP server to open and for whom. Fills in a password that the keychain has, and saves the one
/// that is given if the user likes.
class FtpDialog : public QDialog {
 public:
  /// @param say  is told what came of it, on the main thread; it must stay callable when the dialog is gone.
  FtpDialog(QWidget* parent, std::function<void(const QString&)> say);

  [[nodiscard]] QUrl address() const { return QUrl(address_->text().trimmed()); }
  [[nodiscard]] QString user() const { return user_->text(); }
  [[nodiscard]] QString password() const { return password_->text(); }

  void accept() override;

 private:
  void findPassword();
  void savePassword() const;

  QLineEdit* const address_ = new QLineEdit;
  QLineEdit* const user_ = new QLineEdit;
  QLineEdit* const password_ = new QLineEdit;
  QCheckBox* const remember_ = new QCheckBox("&Remember in the keychain");
  const std::function<void(const QString&)> say_;
  JVDispatch finding_{"passwords"};
};
