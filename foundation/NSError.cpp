#include <JorvaneFoundation/foundation/NSError.h>

#include <utility>

namespace JVFoundation {

struct NSError::State {
  std::string domain;
  std::int64_t code;
  Value userInfo;

  bool operator==(const State&) const noexcept = default;
};

NSError::NSError(std::string_view domain, std::int64_t code, Dictionary userInfo)
    : state_(std::make_shared<const State>(State{std::string(domain), code, std::move(userInfo)})) {}

const std::string& NSError::domain() const noexcept { return state_->domain; }
std::int64_t NSError::code() const noexcept { return state_->code; }
const Value& NSError::userInfo() const noexcept { return state_->userInfo; }

std::string NSError::localizedDescription() const {
  if (const std::string* text = userInfo().text(NSLocalizedDescriptionKey)) return *text;
  return "The operation couldn’t be completed. (" + domain() + " error " + NSNumber(code()).stringValue() + ".)";
}

std::optional<std::string> NSError::localizedRecoverySuggestion() const {
  if (const std::string* text = userInfo().text(NSLocalizedRecoverySuggestionErrorKey)) return *text;
  return std::nullopt;
}

bool operator==(const NSError& a, const NSError& b) noexcept { return *a.state_ == *b.state_; }

}  // namespace JVFoundation
