#include "platform/ModuleEntry.h"
#include "platform/TextModule.h"
#include "platform/modules/text/PangoTextLayout.h"

namespace {

constexpr jv::TextModule kTable{.makeTextLayout = jv::makePangoTextLayout};

}  // namespace

JV_MODULE(kTable)
