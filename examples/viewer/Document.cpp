#include "Document.h"

#include <JorvaneFoundation/encoding/byte_sniffers.h>
#include <JorvaneFoundation/encoding/detection.h>
#include <JorvaneFoundation/encoding/string_encodings.h>

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <cstdint>
#include <span>
#include <string>

namespace {

JVFoundation::EncodingDetection detect(const QByteArray& bytes) {
  const auto* const first = reinterpret_cast<const std::uint8_t*>(bytes.constData());
  return JVFoundation::detectEncoding(std::span(first, static_cast<std::size_t>(bytes.size())), {.lineBreaks = true});
}

QString nameOfLineBreaks(std::int64_t type) {
  switch (type) {
    case JVLineBreakTypeCR:
      return "CR";
    case JVLineBreakTypeCRLF:
      return "CRLF";
    case JVLineBreakTypeLF:
      return "LF";
    default:
      return "one line";
  }
}

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
    const auto found = detect(bytes);
    const std::string encoding(JVFoundation::nameOfStringEncoding(found.encoding));
    document.text = decode(bytes, encoding);
    document.encoding = QString::fromStdString(encoding);
    document.lineBreaks = nameOfLineBreaks(found.lineBreakType);
  }
  return document;
}
