#include <JorvaneFoundation/foundation/NSException.h>

namespace JVFoundation {

struct NSException::State {
  std::string name;
  std::string reason;
};

NSException::NSException(std::string_view name, std::string_view reason)
    : state_(std::make_shared<const State>(State{std::string(name), std::string(reason)})) {}
NSException::NSException(const NSException&) noexcept = default;
NSException& NSException::operator=(const NSException&) noexcept = default;
NSException::~NSException() = default;

const std::string& NSException::name() const noexcept { return state_->name; }
const std::string& NSException::reason() const noexcept { return state_->reason; }
const char* NSException::what() const noexcept { return state_->reason.c_str(); }

NSException NSException::badInitializerForClass(std::string_view className) {
  std::string reason = "Instances of class \"";
  reason.append(className).append("\" can only be initialized with class designated initializer.");
  return {JVBadInitializerException, reason};
}

NSException NSException::missingImplementationOfSelectorForClass(std::string_view selector,
                                                                 std::string_view className) {
  std::string reason = "Subclass \"";
  reason.append(className).append("\" doesn't implement required selector \"");
  reason.append(selector).append("\" of its superclass.");
  return {JVSelectorImplementationMissingForSubclass, reason};
}

void NSException::raiseBadInitializerForClass(std::string_view className) { throw badInitializerForClass(className); }

void NSException::raiseMissingImplementationOfSelectorForClass(std::string_view selector, std::string_view className) {
  throw missingImplementationOfSelectorForClass(selector, className);
}

}  // namespace JVFoundation
