// The tests of event streams once more, with every tree watched by its file system. Without the right to it there is
// nothing to test.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>

#include "fileevents/support.h"
#include "platform/linux/event_stream/factory.h"

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  JVPlatform::installEventStream(jv::watching::makeEventStream(0));
  {
    const jvtest::Place place;
    const JVFileEventer watcher(place.recorder, {place.base}, false);
    if (std::system(("grep -qs '^fanotify sdev:' /proc/" + std::to_string(getpid()) + "/fdinfo/*").c_str()) != 0) {
      std::puts("skipped: the file system of the folder for temporary files may not be watched as a whole");
      return 77;
    }
  }
  return RUN_ALL_TESTS();
}
