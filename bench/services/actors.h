/// What the soak does with each service, round by round.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace soak {

/// One service at work. A round ends with nothing of it under way, and ends the process when an answer is wrong.
struct Actor {
  std::string name;
  std::function<void()> round;
};

/// Those that work on threads of their own, with their files in @p folder. @p withNetwork: interface and host name are
/// the process's own to change.
std::vector<Actor> actors(const std::string& folder, bool withNetwork);

/// Ends the process with 1 and says what went wrong, unless @p right.
void expect(bool right, const char* what);

}  // namespace soak
