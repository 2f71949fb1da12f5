#include <JorvaneFoundation/platform/TextSniffer.h>

namespace JVPlatform {
TECSnifferObject::~TECSnifferObject() = default;
TextSniffer::~TextSniffer() = default;
}  // namespace JVPlatform
