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

static_assert(std::is_base_of_v<std::exception, NSException>);
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

TEST(NSException, NamesClassAndSelector) {
  const auto initializer = thrownBy<NSException>([] { NSException::raiseBadInitializerForClass("JVDispatch"); });
  ASSERT_TRUE(initializer);
  EXPECT_EQ(initializer->name(), "JVBadInitializerException");
  EXPECT_EQ(initializer->reason(),
            "Instances of class \"JVDispatch\" can only be initialized with class designated initializer.");
  EXPECT_STREQ(initializer->what(), initializer->reason().c_str());

  const auto selector = thrownBy<NSException>(
      [] { NSException::raiseMissingImplementationOfSelectorForClass("run:with%@:", "My%sClass%n"); });
  ASSERT_TRUE(selector);
  EXPECT_EQ(selector->name(), "JVSelectorImplementationMissingForSubclass");
  EXPECT_EQ(selector->reason(),
            "Subclass \"My%sClass%n\" doesn't implement required selector \"run:with%@:\" of its superclass.");
}

TEST(NSException, SubclassesRaiseThemselves) {
  const auto document = thrownBy<DocumentException>([] { DocumentException::raiseBadInitializerForClass("C"); });
  ASSERT_TRUE(document);
  EXPECT_EQ(document->name(), "JVBadInitializerException");
  EXPECT_TRUE(thrownBy<PageException>([] { PageException::raiseMissingImplementationOfSelectorForClass("s", "C"); }));
  EXPECT_THROW(PageException::raiseBadInitializerForClass("C"), DocumentException);
}

}  // namespace
