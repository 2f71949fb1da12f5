/// Which of a table of encodings may a buffer of bytes be in? The caller switches rows of `JVSniffers` on, calls
/// `sniffWithEnabledEncodings`, and reads which rows matched.
///
/// The table and the defaults are plain data that any thread may write: one detection at a time in the process.
/// `JVFoundation::detectEncoding` asks the same question without them, on any number of threads.
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include <JorvaneFoundation/foundation/JVExport.h>

JV_BEGIN_C

/// A row of the table: an encoding, how it is tested, and what the last call found. 32 bytes, for good.
typedef struct JVSniffer {
  uint32_t encoding;  ///< the encoding that the row stands for, as a Core encoding number (see string_encodings.h)
  uint32_t snifferEncoding;  ///< the encoding that the text sniffer is asked about for this row; 0: it is not asked
  int64_t lineBreakType;     ///< the line-break type that text in this encoding normally has
  uint8_t enabled;           ///< set by the caller: not 0 when the row takes part
  uint8_t reserved[7];       ///< 0
  int64_t matched;           ///< 1: chosen. The caller writes 0 before a call, or -1 for a row that is off
} JVSniffer;

/// The rows, and behind the last one a terminator whose every byte is 0xFF, never visited and not counted.
/// `enabled` and `matched` are 0 at load.
extern JV_EXPORT JVSniffer JVSniffers[18];

/// How many rows take part, from the first on; 17 at load. A number above 17 is not guarded against.
extern JV_EXPORT uint32_t JVNumberOfSniffers;

/// The encoding that the caller falls back to when nothing fits, as a Core encoding number; 0 at load.
extern JV_EXPORT uint32_t JVDefaultEncoding;

/// What `sniffWithEnabledEncodings` returns for a buffer that holds no byte of 80 or above and no ESC.
enum { JVPlainASCIISniffResult = 9999 };

/// Marks with `matched` = 1 the enabled rows whose encoding the @p length bytes may be in.
///
/// In order: a byte-order mark (rows 0 and 1) decides at once; then the text sniffer is asked about the rows that name
/// a `snifferEncoding`, and those free of errors with the most multi-byte characters are chosen; when there are none,
/// UTF-8 and UTF-16 are tried. With @p checkLineBreaks rows whose line-break type contradicts the text's lose their
/// mark. Marks are never cleared but there, so those of an earlier call count again unless the caller resets them.
///
/// @return  0: nothing fits, or the text sniffer failed; `JVPlainASCIISniffResult`: plain ASCII, no row is marked;
///          else how many choices: with @p checkLineBreaks the rows marked, without it the encodings chosen.
/// Threads: one call at a time. @p bytes may be null when @p length is 0.
JV_EXPORT int64_t sniffWithEnabledEncodings(const uint8_t* bytes, uint64_t length, bool checkLineBreaks) JV_NOEXCEPT;

JV_END_C
