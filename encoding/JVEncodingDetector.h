/// Decides the encoding of text files: Japanese legacy encodings, UTF-8 and UTF-16.
#pragma once

#include <cstdint>
#include <optional>

#include <JorvaneFoundation/encoding/sniffer_table.h>
#include <JorvaneFoundation/encoding/string_encodings.h>
#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSURL.h>

/// Names the encoding of a file by way of `JVSniffers`. Holds no state of its own.
///
/// Threads: any, but one detection at a time in the process; each rewrites `JVSniffers` and the two defaults, which
/// keep its values afterwards. `JVFoundation::detectEncodingOfFile` gives the same answers on many threads at once.
class JV_EXPORT JVEncodingDetector {
 public:
  /// Reads the whole file at @p url and names its encoding. Never throws.
  /// @param url  a file URL, or none.
  /// @return     a string encoding number (1 ASCII, 3 EUC-JP, 4 UTF-8, 8 Shift_JIS, 10 UTF-16, 21 ISO-2022-JP), or
  ///             `JVUnknownStringEncoding`: no URL, unreadable, or a property list or XML, which declare their own.
  /// Cost: time in proportion to the file's size; there is no limit on it.
  [[nodiscard]] std::uint64_t encodingForFileAtURL(const std::optional<JVFoundation::NSURL>& url) const;
};
