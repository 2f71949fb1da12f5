/// What `encoding/` asks of the platform: how well a text fits each of a list of legacy encodings.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVPlatform {

/// The status of an operation: 0 is success, everything else a failure.
using OSStatus = std::int32_t;

/// A sniffer for one list of encodings, made and used by one `TextSniffer`.
class JV_EXPORT TECSnifferObject {
 public:
  TECSnifferObject() = default;
  TECSnifferObject(const TECSnifferObject&) = delete;
  TECSnifferObject& operator=(const TECSnifferObject&) = delete;
  virtual ~TECSnifferObject();
};
using TECSnifferObjectRef = TECSnifferObject*;

/// What the caller of `TECSniffTextEncoding` knows beforehand and will not look at afterwards. An implementation may
/// use it to save work, or leave it alone.
struct SniffHints {
  /// This many leading bytes are known to be below 80 and none of them ESC, SO or SI (1B, 0E, 0F).
  std::uint64_t plainPrefix = 0;
  /// Of an encoding that has errors the caller reads nothing but that it has some.
  bool errorFreeOnly = false;
};

/// Counts errors and multi-byte characters in a text, encoding by encoding. Any thread, any number at once.
class JV_EXPORT TextSniffer {
 public:
  TextSniffer() = default;
  TextSniffer(const TextSniffer&) = delete;
  TextSniffer& operator=(const TextSniffer&) = delete;
  virtual ~TextSniffer();

  /// Makes a sniffer for @p encodings (Core encoding numbers) and writes it to @p sniffer; the caller hands it back to
  /// `TECDisposeSniffer`. An encoding that the implementation does not know is a failure, and nothing is written.
  virtual OSStatus TECCreateSniffer(TECSnifferObjectRef* sniffer, std::span<const std::uint32_t> encodings) = 0;

  /// For each of @p encodings, counts the byte sequences of @p text that are invalid in it, up to @p maxErrors, and the
  /// valid multi-byte characters, up to @p maxFeatures, into @p errors and @p features; all three lists have the same
  /// length. Then brings the three into the same new order: fewest errors first, among those most features first, among
  /// those the order in which they came. On failure nothing is written.
  virtual OSStatus TECSniffTextEncoding(TECSnifferObjectRef sniffer, std::span<const std::uint8_t> text,
                                        std::span<std::uint32_t> encodings, std::span<std::uint64_t> errors,
                                        std::uint64_t maxErrors, std::span<std::uint64_t> features,
                                        std::uint64_t maxFeatures, const SniffHints& hints = {}) = 0;

  /// Takes back what `TECCreateSniffer` made.
  virtual OSStatus TECDisposeSniffer(TECSnifferObjectRef sniffer) = 0;
};

/// The implementation in use: at first one that decides by the code tables of the encodings.
JV_EXPORT std::shared_ptr<TextSniffer> textSniffer();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<TextSniffer> installTextSniffer(std::shared_ptr<TextSniffer> other);

}  // namespace JVPlatform
