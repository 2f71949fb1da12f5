// Linked with one of two C files, key_written.c and key_own.c, and in the ways in which programs get at data of shared
// libraries.
#include <JorvaneFoundation/dispatch/JVDispatch.h>
#include <JorvaneFoundation/foundation/NSException.h>

#include <gtest/gtest.h>

extern "C" {
void writeKey(int index);
int keyIsTheLibrarys();
}

TEST(Key, IsTheLibrarysOwnVariableWhereverThatIs) {
  JVDispatch dispatcher("key");
  for (const int index : {0, 1}) {
    writeKey(index);
    if (keyIsTheLibrarys()) {
      EXPECT_THROW(static_cast<void>(dispatcher.isStopped()), JVFoundation::NSException)
          << "no flag under that key yet";
      dispatcher.setStopped(true);
    }
    EXPECT_TRUE(dispatcher.isStopped());
  }
}
