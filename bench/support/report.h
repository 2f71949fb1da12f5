/// How the benchmarks compare and show: each subject is a table in Markdown on standard output. Its rows also go, for
/// the charts, to the end of the file that the environment's JV_BENCH_ROWS names, where it names one: a line of JSON
/// each.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace jv::bench {

/// Measures once, in the unit of the subject. None when it turns out that this cannot be had here.
using Measure = std::function<std::optional<double>()>;

enum class Who { kFloor, kOurs, kPeer };
enum class Better { kLess, kMore };

/// One way of doing a thing. Without a measure it is shown as missing.
struct Candidate {
  Who who;
  std::string name;
  Measure measure;
};

/// One table, and one chart.
class Subject {
 public:
  /// Begins the table.
  Subject(std::string_view title, std::string_view unit, Better better = Better::kLess);

  /// Measures @p candidates in turns, so that whatever else the machine does strikes all of them, and adds a row for
  /// each: median and best of @p rounds, each with its ratio to the first candidate's. A ratio is one of times,
  /// whatever the unit: 2 is twice as slow. A round before the first one warms up.
  void compare(std::string_view what, const std::vector<Candidate>& candidates, int rounds) const;

 private:
  std::string title_;
  std::string unit_;
  Better better_;
};

/// Microseconds that @p work takes.
template <class Work>
Measure microsecondsOf(Work work) {
  return [work = std::move(work)]() mutable -> std::optional<double> {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count();
  };
}

}  // namespace jv::bench
