// Errors and exceptions: the texts that users and logs get to see, and which class is thrown.
#include <JorvaneFoundation/foundation/NSError.h>
#include <JorvaneFoundation/foundation/NSException.h>

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <typeinfo>

namespace {

using namespace JVFoundation;

TEST(NSError, HasTheTextsOfItsUserInformationOrAGeneralOne) {
  const NSError error(NSOSStatusErrorDomain, -25300);
  EXPECT_EQ(error.localizedDescription(), "The operation couldn’t be completed. (NSOSStatusErrorDomain error -25300.)");
  EXPECT_EQ(error.localizedRecoverySuggestion(), std::nullopt);
  const NSError noText("D", std::numeric_limits<std::int64_t>::min(), {{std::string(NSLocalizedDescriptionKey), 7}});
  EXPECT_EQ(noText.localizedDescription(), "The operation couldn’t be completed. (D error -9223372036854775808.)");
}

class DocumentException : public NSExceptionSubclass<DocumentException> {
  using NSExceptionSubclass::NSExceptionSubclass;
};
class PageException : public NSExceptionSubclass<PageException, DocumentException> {
  using NSExceptionSubclass::NSExceptionSubclass;
};

/// "name: reason" of what @p raise throws, if its class is exactly @p Exception.
template <class Exception>
std::string thrownBy(void (*raise)()) {
  try {
    raise();
  } catch (const Exception& e) {
    if (typeid(e) == typeid(Exception)) return e.name() + ": " + e.what();
  }
  return "(nothing)";
}

TEST(NSException, SubclassesRaiseThemselvesAndNameClassAndSelector) {
  EXPECT_EQ(thrownBy<DocumentException>([] { DocumentException::raiseBadInitializerForClass("JVDispatch"); }),
            "JVBadInitializerException: Instances of class \"JVDispatch\" can only be initialized with class "
            "designated initializer.");
  EXPECT_EQ(thrownBy<PageException>(
                [] { PageException::raiseMissingImplementationOfSelectorForClass("run:with%@:", "My%sClass%n"); }),
            "JVSelectorImplementationMissingForSubclass: Subclass \"My%sClass%n\" doesn't implement required selector "
            "\"run:with%@:\" of its superclass.");
  EXPECT_THROW(PageException::raiseBadInitializerForClass("C"), DocumentException);
}

}  // namespace
