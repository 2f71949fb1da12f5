/// How `jv encoding` puts what it found.
#pragma once

#include <string>
#include <string_view>

#include <JorvaneFoundation/encoding/detection.h>

namespace jv {

enum class ReportForm : std::uint8_t { text, json };

struct ReportOptions {
  ReportForm form = ReportForm::text;
  bool lineBreaks = false;
  bool explain = false;
};

/// What was found out about the file @p name, as whole lines: in text "name: ENCODING (number)", with indented lines
/// behind it where it is explained; in JSON an object on one line.
[[nodiscard]] std::string reportOf(std::string_view name, const JVFoundation::EncodingDetection& found,
                                   const ReportOptions& options);

}  // namespace jv
