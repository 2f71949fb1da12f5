#include "FtpDialog.h"

#include <JorvaneFoundation/dispatch/DispatchQueue.h>
#include <JorvaneFoundation/keychain/JVKeychain.h>

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QPointer>
#include <memory>
#include <optional>
#include <string>
#include <utility>

using JVFoundation::DispatchQueue;
using JVFoundation::NSError;

namespace {

JVKeychainProtocol protocolOf(const QUrl& address) {
  return address.scheme() == "ftps" ? JVKeychainProtocolFTPS : JVKeychainProtocolFTP;
}

QString textOf(const NSError& error) {
  return QString::fromStdString(error.localizedDescription() + ": " + error.localizedRecoverySuggestion().value_or(""));
}

}  // namespace

FtpDialog::FtpDialog(QWidget* parent, std::function<void(const QString&)> say) : QDialog(parent), say_(std::move(say)) {
  setWindowTitle("Open from FTP");
  setAttribute(Qt::WA_DeleteOnClose);
  address_->setMinimumWidth(360);
  address_->setPlaceholderText("ftp://server/folder/file");
  password_->setEchoMode(QLineEdit::Password);
  auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Open | QDialogButtonBox::Cancel);

  auto* const form = new QFormLayout(this);
  form->addRow("&Address", address_);
  form->addRow("&User", user_);
  form->addRow("&Password", password_);
  form->addRow("", remember_);
  form->addRow(buttons);

  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(address_, &QLineEdit::editingFinished, this, &FtpDialog::findPassword);
  connect(user_, &QLineEdit::editingFinished, this, &FtpDialog::findPassword);
}

void FtpDialog::accept() {
  if (remember_->isChecked()) savePassword();
  QDialog::accept();
}

// The keychain may ask the user to unlock it, so both calls wait for it in the background.

void FtpDialog::findPassword() {
  if (address().host().isEmpty() || user().isEmpty()) return;
  struct Answer {
    std::optional<std::string> password;
    std::optional<NSError> error;
  };
  const auto answer = std::make_shared<Answer>();
  finding_.dispatchHandler(
      [host = address().host(), user = user(), protocol = protocolOf(address()), answer] {
        answer->password =
            JVKeychain::passwordForHost(host.toStdString(), user.toStdString(), protocol, &answer->error);
      },
      [self = QPointer(this), answer] {
        if (!self) return;  // closed meanwhile
        if (answer->error) self->say_(textOf(*answer->error));
        if (!answer->password || self->password_->isModified()) return;
        self->password_->setText(QString::fromStdString(*answer->password));
        self->remember_->setChecked(true);
        self->say_("The keychain has the password.");
      });
}

void FtpDialog::savePassword() const {
  DispatchQueue::globalQueue().async(
      [host = address().host(), user = user(), protocol = protocolOf(address()), password = password(), say = say_] {
        std::optional<NSError> error;
        JVKeychain::savePassword(password.toStdString(), host.toStdString(), user.toStdString(), protocol, &error);
        DispatchQueue::mainQueue().async(
            [say, text = error ? textOf(*error) : QString("The keychain remembers the password.")] { say(text); });
      });
}
