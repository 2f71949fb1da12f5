// fault_probe [OPTION…] [SERVICE…]: makes system calls of the services fail, one at a time, and looks at what comes of
// it.
//   --seconds N    as many faults as can be tried in so long, in a random order; every one of them without it
//   --chance N     after that, N runs a service in which calls fail by chance (0)
//   --again SEED   the one run by chance that had this seed
//   --seed S       of order and chance; printed when it is not given
//   --only CALL ERROR NTH   this fault alone, or those of CALL where ERROR and NTH are "any"
// Ends with 0 when all is well, 1 when a service failed, and 77 where calls cannot be watched.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Attempt.h"
#include "services.h"

namespace {

using namespace faults;
using Clock = std::chrono::steady_clock;

constexpr int kSkipped = 77;

struct Options {
  std::uint32_t seconds = 0;
  std::uint32_t chance = 0;
  std::uint32_t seed = std::random_device()();
  std::uint32_t again = 0;
  std::string call;
  std::string error = "any";
  std::string nth = "any";
  std::vector<std::string_view> names;
};

Options read(int argc, char** argv) {
  using O = Options;
  static const std::map<std::string_view, std::uint32_t O::*> kNumbers = {
      {"--seconds", &O::seconds}, {"--chance", &O::chance}, {"--seed", &O::seed}, {"--again", &O::again}};
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    const auto next = [&] { return i + 1 < argc ? argv[++i] : ""; };
    if (const auto number = kNumbers.find(word); number != kNumbers.end())
      options.*number->second = static_cast<std::uint32_t>(std::strtoul(next(), nullptr, 10));
    else if (word == "--only")
      options.call = next(), options.error = next(), options.nth = next();
    else
      options.names.push_back(word);
  }
  return options;
}

/// Every way to make one of the @p calls fail.
std::vector<Fault> faultsOf(const std::map<long, int>& calls, const Service& service, const Options& options) {
  std::vector<Fault> all;
  for (const auto& [number, count] : calls) {
    const Call* const call = callOf(number);
    if (!call || (!options.call.empty() && options.call != call->name)) continue;
    for (const int error : call->errors) {
      if (options.error != "any" && options.error != strerrorname_np(error)) continue;
      if (isListed(*call, error, service)) continue;
      for (int nth = 1; nth <= count; ++nth) {
        if (options.nth == "any" || nth == std::stoi(options.nth)) all.push_back({call, error, nth, 0});
      }
    }
  }
  return all;
}

std::string inWords(const Fault& fault) {
  if (!fault.call) return "by chance, seed " + std::to_string(fault.seed);
  return std::string(fault.call->name) + " " + strerrorname_np(fault.error) + " " + std::to_string(fault.nth);
}

class Trial {
 public:
  /// @param seconds  for all faults but those by chance; 0: as many as that takes
  Trial(const Service& service, const Options& options, double seconds)
      : service_(service), options_(options), seconds_(seconds), chance_(options.seed) {}

  /// @return whether all went well
  bool run() {
    attempt(service_, {}, std::nullopt);  // what is made once on a machine, such as caches
    const auto begin = Clock::now();
    const auto sinceBegin = [&] { return std::chrono::duration<double>(Clock::now() - begin).count(); };
    const Outcome usual = attempt(service_, {}, std::nullopt);
    if (!usual.wrong.empty()) {
      report("undisturbed", usual);
      return false;
    }
    usual_ = usual.held;
    usual_->threads = std::max(usual_->threads, service_.threads);
    std::vector<Fault> faults = faultsOf(usual.calls, service_, options_);
    if (seconds_ > 0) std::ranges::shuffle(faults, chance_);
    if (options_.again != 0) {
      faults.clear();
      tryOne({nullptr, 0, 0, options_.again});
    }
    for (const Fault& fault : faults) {
      if (seconds_ > 0 && sinceBegin() > seconds_) break;
      tryOne(fault);
    }
    for (std::uint32_t i = 0; i < options_.chance; ++i) {
      tryOne({nullptr, 0, 0, static_cast<std::uint32_t>(chance_()) | 1U});
    }
    std::printf("%-16s %5d runs of %5zu faults, %5d calls failed, %d wrong, %.0f s\n", service_.name, tried_,
                faults.size(), struck_, wrong_, sinceBegin());
    return wrong_ == 0;
  }

 private:
  void tryOne(const Fault& fault) {
    const Outcome outcome = attempt(service_, fault, usual_);
    ++tried_;
    struck_ += outcome.failed;
    if (outcome.wrong.empty()) return;
    ++wrong_;
    report(inWords(fault), outcome);
  }

  void report(const std::string& fault, const Outcome& outcome) const {
    std::printf("%s, %s:", service_.name, fault.c_str());
    for (const std::string& what : outcome.wrong) std::printf(" %s;", what.c_str());
    std::puts("");
  }

  const Service& service_;
  const Options& options_;
  double seconds_;
  std::mt19937 chance_;
  std::optional<Held> usual_;
  int tried_ = 0;
  int struck_ = 0;
  int wrong_ = 0;
};

bool isWanted(const Service& service, const Options& options) {
  if (!options.names.empty()) return std::ranges::find(options.names, service.name) != options.names.end();
  if (!service.needs || std::getenv(service.needs)) return true;
  std::printf("%-16s left out: no %s here\n", service.name, service.needs);
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = read(argc, argv);
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // children would print what is left in the buffer once more
  if (!canWatch()) {
    std::puts("skipped: system calls cannot be watched here");
    return kSkipped;
  }
  std::vector<const Service*> wanted;
  for (const Service& service : services()) {
    if (isWanted(service, options)) wanted.push_back(&service);
  }
  std::printf("seed %u\n", options.seed);
  bool good = true;
  for (const Service* const service : wanted) {
    good &= Trial(*service, options, options.seconds / static_cast<double>(wanted.size())).run();
  }
  return good ? 0 : 1;
}
