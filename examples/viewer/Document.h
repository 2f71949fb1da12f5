// A text file in the encoding that it is in.
#pragma once

#include <QString>

/// A file as it was when it was read.
struct Document {
  QString text;        ///< with line feeds alone between its lines
  QString encoding;    ///< "Shift_JIS"
  QString lineBreaks;  ///< "CRLF"
  QString problem;     ///< why it could not be read, for people; empty when it could
};

Document readDocument(const QString& path);
