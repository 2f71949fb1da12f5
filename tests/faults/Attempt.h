/// One run of a service in a child process whose system calls are watched, and made to fail as asked.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calls.h"

namespace faults {

/// What a service says of itself while it works. In the first run the calls fail, and an answer may be the documented
/// one for that; the second is undisturbed, and only the right answer counts.
class Answers {
 public:
  Answers(bool disturbed, std::string folder) : disturbed_(disturbed), folder_(std::move(folder)) {}

  /// @param documented  whether the answer is one that the documentation allows when the system fails.
  void expect(bool right, bool documented, const std::string& what) {
    if (!right && !(disturbed_ && documented)) wrong_.push_back(what);
  }
  [[nodiscard]] bool disturbed() const { return disturbed_; }
  /// The run's own, with what `Service::prepare` has put there.
  [[nodiscard]] const std::string& folder() const { return folder_; }
  [[nodiscard]] const std::vector<std::string>& wrong() const { return wrong_; }

 private:
  bool disturbed_;
  std::string folder_;
  std::vector<std::string> wrong_;
};

struct Service {
  const char* name;
  void (*run)(Answers&);
  void (*prepare)(const std::string& folder) = nullptr;  ///< in the parent, which never uses the library
  const char* needs = nullptr;                           ///< a variable of the environment
  int threads = 1;                                       ///< how many may stay, the main thread included
  std::string_view never = "";  ///< faults that are not tried, as "CALL ERROR;…"; whoever lists one says why
};

/// Whether @p service is spared this fault.
bool isListed(const Call& call, int error, const Service& service);

/// Stands in every password; whatever a service prints is searched for it.
inline constexpr char kSecret[] = "s3cret-pa55word";

/// Which call fails: the one that is the @p nth of its kind (from 1), or any of them by chance.
struct Fault {
  const Call* call = nullptr;  ///< none: by chance
  int error = 0;
  int nth = 0;
  std::uint32_t seed = 0;  ///< of the chance; 0: no call fails
};

/// What the process holds when all is over.
struct Held {
  int descriptors = 0;
  int threads = 0;
  int children = 0;
};

struct Outcome {
  std::vector<std::string> wrong;  ///< in words; empty when all is well
  std::map<long, int> calls;       ///< how often each call was made
  int failed = 0;                  ///< how many calls were made to fail
  Held held;
};

/// Whether system calls can be watched here.
bool canWatch();

/// Runs @p service twice in a child, disturbed and undisturbed.
/// @param usual  what an undisturbed process holds at the end; none for the one that finds that out
Outcome attempt(const Service& service, const Fault& fault, const std::optional<Held>& usual);

}  // namespace faults
