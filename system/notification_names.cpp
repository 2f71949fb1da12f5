#include <JorvaneFoundation/system/notification_names.h>

const char* const JVComputerNameChangedNotification = "JVComputerNameChanged";
const char* const JVIPAddressChangedNotification = "JVIPAddressChanged";
const char* const JVUserDidBecomeActiveNotification = "JVUserDidBecomeActive";
