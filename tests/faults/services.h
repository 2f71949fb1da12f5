/// What is tried with each service.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace faults {

/// What a service says of itself while it works. In the first run the calls fail, and an answer may be the documented
/// one for that; the second is undisturbed, and only the right answer counts.
struct Answers {
  /// @param documented  whether the answer is one that the documentation allows when the system fails.
  void expect(bool right, bool documented, const std::string& what) {
    if (!right && !(disturbed && documented)) wrong.push_back(what);
  }

  std::string folder;  ///< the run's own, with what `Service::prepare` has put there
  std::string secret;  ///< stands in every password
  bool disturbed;
  std::vector<std::string> wrong{};
};

struct Service {
  const char* name;
  void (*run)(Answers&);
  void (*prepare)(const std::string& folder) = nullptr;  ///< before anything can fail
};

std::span<const Service> services();

}  // namespace faults
