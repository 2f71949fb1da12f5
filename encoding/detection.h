/// The encoding of a text or file, with the reasons: the answers of `JVEncodingDetector` without its shared table, on
/// any number of threads at once.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVFoundation {

/// What decided a detection.
enum class EncodingRule : std::uint8_t {
  declaresItself,  ///< a property list or XML by its extension; the file was not opened
  unreadable,      ///< the file could not be read
  empty,           ///< no bytes at all: UTF-8
  byteOrderMark,   ///< the text begins with a mark
  plainASCII,      ///< no byte of 80 or above and no ESC
  legacyEncoding,  ///< free of errors in a legacy encoding whose line breaks do not contradict
  lineBreaks,      ///< free of errors in a legacy encoding, but the line breaks contradict: the default, UTF-8
  possibleUTF8,    ///< no legacy encoding fits, and it may be UTF-8
  possibleUTF16,   ///< neither, and a zero byte stands before a line break
  nothingFits,     ///< the default, UTF-8
};

/// How a text fits one legacy encoding. Both counts stop at 300.
struct EncodingCandidate {
  std::uint32_t encoding = 0;  ///< Core encoding number; 1 stands for Shift_JIS
  std::uint64_t errors = 0;    ///< byte sequences that are invalid in it
  std::uint64_t features = 0;  ///< valid characters of more than one byte
};

/// What one detection found.
struct EncodingDetection {
  std::uint64_t encoding = 0xFFFFFFFF;  ///< string encoding number, or `JVUnknownStringEncoding`
  EncodingRule rule = EncodingRule::unreadable;
  std::int64_t lineBreakType = 0;             ///< of the whole text; only when asked for
  std::vector<EncodingCandidate> candidates;  ///< best first; only when asked for, and only if they were looked at
};

/// What else a detection finds out beside the encoding; each costs time.
struct EncodingDetectionOptions {
  bool lineBreaks = false;  ///< the line-break type also where the encoding is decided without it
  bool candidates = false;  ///< how well the text fits each legacy encoding, counted to the end
};

/// The encoding of @p text, by the rules of `JVEncodingDetector`. @throws std::bad_alloc
[[nodiscard]] JV_EXPORT EncodingDetection detectEncoding(std::span<const std::uint8_t> text,
                                                         EncodingDetectionOptions options = {});
/// The same for bytes that are kept as characters.
[[nodiscard]] JV_EXPORT EncodingDetection detectEncoding(std::string_view text, EncodingDetectionOptions options = {});

/// The encoding of the file at @p path, any bytes. @throws std::bad_alloc, though never for the file's own size
[[nodiscard]] JV_EXPORT EncodingDetection detectEncodingOfFile(std::string_view path,
                                                               EncodingDetectionOptions options = {});

/// The usual name of a line-break type: "none", "CR", "CRLF" or "LF"; "unknown" for any other number. A text of static
/// lifetime.
[[nodiscard]] JV_EXPORT std::string_view nameOfLineBreakType(std::int64_t type) noexcept;

}  // namespace JVFoundation
