/// How the last tool ended. The status alone does not tell a tool that exits with 9 from one that signal 9 ended.
#pragma once

#include <JorvaneFoundation/platform/Process.h>

/// From now on keeps how tools end in @p reason, which must outlive them.
void observeTermination(JVPlatform::TerminationReason& reason);
