/// URLs of files on this machine.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVFoundation {

/// The place of a file. Paths are bytes of any kind and pass unchanged. Immutable and cheap to copy; any thread. No
/// function looks at the file system, but for the current directory in `absoluteString`.
class JV_EXPORT NSURL {
 public:
  /// @param path  absolute or relative. A relative path stays as it is, so it names whatever it names at the time it
  ///              is used. A path with a zero byte in it names no file: check before handing it to the system.
  [[nodiscard]] static NSURL fileURLWithPath(std::string_view path);

  /// Reads a URL such as "file:///tmp/a%20b.txt" or "file:/tmp/x". Scheme and host are read in either case, the host
  /// may be absent, empty or "localhost"; a query and a fragment are dropped; bytes that ought to have been escaped are
  /// taken as they are.
  /// @return  none for another scheme, another host, a path that is not absolute, an escape without two hexadecimal
  ///          digits, or a zero byte, escaped or not
  [[nodiscard]] static std::optional<NSURL> URLWithString(std::string_view text);

  /// The path with all escapes resolved; empty for a URL without one, such as "file://".
  [[nodiscard]] const std::string& path() const noexcept;

  /// The URL as text, with every byte escaped that may not stand in a path. A relative path is put under the current
  /// directory of the moment; without one (it was deleted) it stays relative, and `URLWithString` refuses the text.
  [[nodiscard]] std::string absoluteString() const;

  /// What stands behind the last full stop of the last component, slashes at the end left aside: "gz" for "a.tar.gz",
  /// "xml" for "a.xml/". Empty when nothing does or when the name only begins with the stop: "a", "a.", ".xml", "/".
  /// None only for a URL without a path.
  [[nodiscard]] std::optional<std::string> pathExtension() const;

  /// Equal in the bytes of their paths; two paths of one file may differ.
  friend JV_EXPORT bool operator==(const NSURL& a, const NSURL& b) noexcept;

 private:
  explicit NSURL(std::string path);

  std::shared_ptr<const std::string> path_;
};

}  // namespace JVFoundation
