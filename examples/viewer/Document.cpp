#include "Document.h"

#include <JorvaneFoundation/encoding/detection.h>
#include <JorvaneFoundation/encoding/string_encodings.h>

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <string>
#include <string_view>

namespace {

/// The text of @p bytes; what the encoding does not know comes out as replacement characters.
QString decode(const QByteArray& bytes, const std::string& encoding) {
  QStringDecoder decoder(encoding.c_str());
  if (!decoder.isValid()) decoder = QStringDecoder(QStringConverter::Utf8);
  QString text = decoder(bytes);
  text.replace("\r\n", "\n");
  return text.replace('\r', '\n');
}

}  // namespace

Document readDocument(const QString& path) {
  Document document;
  QFile file(path);
  if (QFileInfo(path).exists() && !QFileInfo(path).isFile()) {
    document.problem = "Not a file";  // reading a pipe might never end
  } else if (!file.open(QIODevice::ReadOnly)) {
    document.problem = file.errorString();
  } else {
    const QByteArray bytes = file.readAll();
    const std::string_view characters(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    const auto found = JVFoundation::detectEncoding(characters, {.lineBreaks = true});
    const std::string encoding(JVFoundation::nameOfStringEncoding(found.encoding));
    document.text = decode(bytes, encoding);
    document.encoding = QString::fromStdString(encoding);
    const std::string lineBreaks(JVFoundation::nameOfLineBreakType(found.lineBreakType));
    document.lineBreaks = lineBreaks == "none" ? "one line" : QString::fromStdString(lineBreaks);
  }
  return document;
}
