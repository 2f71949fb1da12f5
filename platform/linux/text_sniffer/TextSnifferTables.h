/// The text sniffer that decides by the code tables of the encodings. What it counts, encoding by encoding:
/// docs/encodings.md.
#pragma once

#include <JorvaneFoundation/platform/TextSniffer.h>

namespace jv {

class TextSnifferTables final : public JVPlatform::TextSniffer {
 public:
  JVPlatform::OSStatus TECCreateSniffer(JVPlatform::TECSnifferObjectRef* sniffer,
                                        std::span<const std::uint32_t> encodings) override;
  JVPlatform::OSStatus TECSniffTextEncoding(JVPlatform::TECSnifferObjectRef sniffer, std::span<const std::uint8_t> text,
                                            std::span<std::uint32_t> encodings, std::span<std::uint64_t> errors,
                                            std::uint64_t maxErrors, std::span<std::uint64_t> features,
                                            std::uint64_t maxFeatures, const JVPlatform::SniffHints& hints) override;
  JVPlatform::OSStatus TECDisposeSniffer(JVPlatform::TECSnifferObjectRef sniffer) override;
};

}  // namespace jv
