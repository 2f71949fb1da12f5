#include <JorvaneFoundation/platform/RunLoopSource.h>

namespace JVPlatform {

RunLoopSource::~RunLoopSource() = default;

}  // namespace JVPlatform
