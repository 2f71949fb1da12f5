/// Names of the notifications that the library posts, for C and C++. All are posted on the default notification centre,
/// on the main thread, with the object that posts them and nothing else.
#pragma once

#include <JorvaneFoundation/foundation/JVExport.h>

JV_BEGIN_C

/// "JVComputerNameChanged", by `JVSystemConfigListener`.
extern JV_EXPORT const char* const JVComputerNameChangedNotification;
/// "JVIPAddressChanged", by `JVSystemConfigListener`.
extern JV_EXPORT const char* const JVIPAddressChangedNotification;
/// "JVUserDidBecomeActive", by `JVUser`.
extern JV_EXPORT const char* const JVUserDidBecomeActiveNotification;

JV_END_C
