#include <JorvaneFoundation/foundation/NSException.h>

#include <gtest/gtest.h>

#include <exception>
#include <optional>
#include <string>
#include <type_traits>

namespace {

using JVFoundation::NSException;
using JVFoundation::NSExceptionSubclass;

class DocumentException : public NSExceptionSubclass<DocumentException> {
  using NSExceptionSubclass::NSExceptionSubclass;
};
class PageException : public NSExceptionSubclass<PageException, DocumentException> {
  using NSExceptionSubclass::NSExceptionSubclass;
};

static_assert(std::is_nothrow_copy_constructible_v<NSException>);

// What @p raise throws, if its class is exactly @p Exception.
template <class Exception>
std::optional<Exception> thrownBy(void (*raise)()) {
  try {
    raise();
  } catch (const Exception& e) {
    if (typeid(e) == typeid(Exception)) return e;
  }
  return std::nullopt;
}

TEST(NSException, BadInitializerNamesTheClass) {
  const auto e = thrownBy<NSException>([] { NSException::raiseBadInitializerForClass("JVDispatch"); });
  ASSERT_TRUE(e);
  EXPECT_EQ(e->name(), "JVBadInitializerException");
  EXPECT_EQ(e->reason(),
            "Instances of class \"JVDispatch\" can only be initialized with class designated initializer.");
  EXPECT_STREQ(e->what(), e->reason().c_str());
}

TEST(NSException, MissingImplementationNamesTheClassFirst) {
  const auto e = thrownBy<NSException>(
      [] { NSException::raiseMissingImplementationOfSelectorForClass("run:with%@:", "My%sClass%n"); });
  ASSERT_TRUE(e);
  EXPECT_EQ(e->name(), "JVSelectorImplementationMissingForSubclass");
  EXPECT_EQ(e->reason(),
            "Subclass \"My%sClass%n\" doesn't implement required selector \"run:with%@:\" of its superclass.");
}

TEST(NSException, IsAStandardException) { EXPECT_THROW(NSException::raiseBadInitializerForClass("C"), std::exception); }

TEST(NSException, SubclassesRaiseThemselves) {
  const auto document = thrownBy<DocumentException>([] { DocumentException::raiseBadInitializerForClass("C"); });
  ASSERT_TRUE(document);
  EXPECT_EQ(document->name(), "JVBadInitializerException");
  EXPECT_EQ(document->reason(), "Instances of class \"C\" can only be initialized with class designated initializer.");

  const auto page =
      thrownBy<PageException>([] { PageException::raiseMissingImplementationOfSelectorForClass("s", "C"); });
  ASSERT_TRUE(page);
  EXPECT_EQ(page->reason(), "Subclass \"C\" doesn't implement required selector \"s\" of its superclass.");
  EXPECT_THROW(PageException::raiseBadInitializerForClass("C"), DocumentException);
}

}  // namespace
