#include "platform/FontsModule.h"
#include "platform/ModuleEntry.h"
#include "platform/modules/fonts/FontconfigManager.h"

namespace {

constexpr jv::FontsModule kTable{.makeFontManager = jv::makeFontconfigManager};

}  // namespace

JV_MODULE(kTable)
