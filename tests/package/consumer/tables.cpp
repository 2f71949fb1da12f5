// A program and the library see each other's writes to the two defaults of the encoding detector.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <unistd.h>

#include <memory>
#include <string>

#include "expect.h"

namespace {

// Fails, so that the detector falls back to the default, which is then another one than the detector set.
class MeddlingSniffer final : public JVPlatform::TextSniffer {
 public:
  JVPlatform::OSStatus TECCreateSniffer(JVPlatform::TECSnifferObjectRef*, std::span<const std::uint32_t>) override {
    JVDefaultEncoding = kCFStringEncodingEUC_JP;
    return -1;
  }
  JVPlatform::OSStatus TECSniffTextEncoding(JVPlatform::TECSnifferObjectRef, std::span<const std::uint8_t>,
                                            std::span<std::uint32_t>, std::span<std::uint64_t>, std::uint64_t,
                                            std::span<std::uint64_t>, std::uint64_t,
                                            const JVPlatform::SniffHints&) override {
    return -1;
  }
  JVPlatform::OSStatus TECDisposeSniffer(JVPlatform::TECSnifferObjectRef) override { return 0; }
};

}  // namespace

int main() {
  char path[] = "/tmp/consumer.XXXXXX";
  const int file = ::mkstemp(path);
  EXPECT(file >= 0 && ::write(file, "\xFF", 1) == 1);
  const auto url = JVFoundation::NSURL::fileURLWithPath(path);

  const auto before = JVPlatform::installTextSniffer(std::make_shared<MeddlingSniffer>());
  const auto meddled = JVEncodingDetector().encodingForFileAtURL(url);
  JVPlatform::installTextSniffer(before);
  JVDefaultLineBreakType = JVLineBreakTypeCR;
  const auto plain = JVEncodingDetector().encodingForFileAtURL(url);
  ::close(file);
  ::unlink(path);

  EXPECT(meddled == NSJapaneseEUCStringEncoding);
  EXPECT(plain == NSUTF8StringEncoding);
  EXPECT(JVDefaultEncoding == kCFStringEncodingUTF8);
  EXPECT(JVDefaultLineBreakType == JVLineBreakTypeNone);
}
