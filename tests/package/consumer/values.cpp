// A program in C++ uses the shared types, derives from one, and catches what the library throws.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <string>

#include "expect.h"

using namespace JVFoundation;

class OwnException : public NSExceptionSubclass<OwnException> {
  using NSExceptionSubclass::NSExceptionSubclass;
};

int main() {
  const Value result = Dictionary{{"status", 3}, {"output", "three\n"}};
  EXPECT(result.number("status")->intValue() == 3);
  EXPECT(NSURL::fileURLWithPath("/a b").absoluteString() == "file:///a%20b");

  int caught = 0;
  try {
    NSException::raiseBadInitializerForClass("Own");
  } catch (const NSException& exception) {  // by its type, which lives in the library
    caught += exception.name() == JVBadInitializerException;
  }
  try {
    OwnException::raiseBadInitializerForClass("Own");
  } catch (const OwnException&) {
    ++caught;
  }
  EXPECT(caught == 2);
}
