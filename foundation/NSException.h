/// How programming errors are told: an exception with a name to compare and a reason to read.
#pragma once

#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVFoundation {

/// Names of the exceptions that `NSException` raises itself.
inline constexpr std::string_view JVBadInitializerException = "JVBadInitializerException";
inline constexpr std::string_view JVSelectorImplementationMissingForSubclass =
    "JVSelectorImplementationMissingForSubclass";

/// The library throws it for programming errors alone; failures of the system are results. Any thread; copying never
/// throws. A class derived from it does so through `NSExceptionSubclass`.
class JV_EXPORT NSException : public std::exception {
 public:
  NSException(std::string_view name, std::string_view reason);
  NSException(const NSException&) noexcept;
  NSException& operator=(const NSException&) noexcept;
  ~NSException() override;

  /// What kind of error it is, as one of the constants.
  [[nodiscard]] const std::string& name() const noexcept;
  /// What is wrong, in a sentence.
  [[nodiscard]] const std::string& reason() const noexcept;
  /// The reason.
  [[nodiscard]] const char* what() const noexcept override;

  /// Throws `JVBadInitializerException`: an instance of @p className was made with an initializer that must not be
  /// used.
  [[noreturn]] static void raiseBadInitializerForClass(std::string_view className);

  /// Throws `JVSelectorImplementationMissingForSubclass`: @p className lacks the member function @p selector that its
  /// superclass leaves to it. Both names come out as they are, whatever characters they hold.
  [[noreturn]] static void raiseMissingImplementationOfSelectorForClass(std::string_view selector,
                                                                        std::string_view className);

 protected:
  /// The same exceptions, unthrown.
  [[nodiscard]] static NSException badInitializerForClass(std::string_view className);
  [[nodiscard]] static NSException missingImplementationOfSelectorForClass(std::string_view selector,
                                                                           std::string_view className);

 private:
  struct State;
  std::shared_ptr<const State> state_;
};

/// Base of the exception class @p Subclass, whose raise functions throw @p Subclass and not its superclass:
///
///     class DocumentException : public JVFoundation::NSExceptionSubclass<DocumentException> {
///       using NSExceptionSubclass::NSExceptionSubclass;
///     };
///     DocumentException::raiseBadInitializerForClass("Document");  // throws a DocumentException
///
/// @tparam Subclass    a class with the constructor from name and reason
/// @tparam Superclass  `NSException` or a class derived from it
template <class Subclass, class Superclass = NSException>
class NSExceptionSubclass : public Superclass {
 public:
  using Superclass::Superclass;

  [[noreturn]] static void raiseBadInitializerForClass(std::string_view className) {
    raise(NSException::badInitializerForClass(className));
  }
  [[noreturn]] static void raiseMissingImplementationOfSelectorForClass(std::string_view selector,
                                                                        std::string_view className) {
    raise(NSException::missingImplementationOfSelectorForClass(selector, className));
  }

 private:
  [[noreturn]] static void raise(const NSException& exception) { throw Subclass(exception.name(), exception.reason()); }
};

}  // namespace JVFoundation
