#include "support/report.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

namespace jv::bench {
namespace {

struct Result {
  double median, best;
};

std::optional<Result> resultOf(std::vector<double> values, Better better) {
  if (values.empty()) return std::nullopt;
  std::ranges::sort(values);
  return Result{values[values.size() / 2], better == Better::kLess ? values.front() : values.back()};
}

Result ratioOf(const Result& one, const Result& floor, Better better) {
  if (better == Better::kLess) return {one.median / floor.median, one.best / floor.best};
  return {floor.median / one.median, floor.best / one.best};
}

/// Three digits, or more before the point.
std::string text(double value) {
  std::array<char, 64> digits;
  if (value < 0.1) {
    std::snprintf(digits.data(), digits.size(), "%.2g", value);
  } else {
    std::snprintf(digits.data(), digits.size(), "%.*f", value >= 100 ? 0 : value >= 10 ? 1 : 2, value);
  }
  return digits.data();
}

void printRow(const char* what, const std::string& name, const std::optional<Result>& result,
              const std::optional<Result>& ratio) {
  const auto shown = [](const std::optional<Result>& pair, double Result::*part) {
    return pair ? text((*pair).*part) : std::string();
  };
  std::printf("| %-26s | %-34s | %17s | %6s | %9s | %6s |\n", what, name.c_str(),
              result ? text(result->median).c_str() : "not measured here", shown(ratio, &Result::median).c_str(),
              shown(result, &Result::best).c_str(), shown(ratio, &Result::best).c_str());
}

void put(nlohmann::ordered_json& row, const std::string& name, const std::optional<Result>& result) {
  row["median" + name] = result ? nlohmann::ordered_json(result->median) : nullptr;
  row["best" + name] = result ? nlohmann::ordered_json(result->best) : nullptr;
}

}  // namespace

Subject::Subject(std::string_view title, std::string_view unit, Better better)
    : title_(title), unit_(unit), better_(better) {
  std::printf("\n### %s\n\n| what | who | median, %s | ratio | best, %s | ratio |\n|---|---|--:|--:|--:|--:|\n",
              title_.c_str(), unit_.c_str(), unit_.c_str());
  std::fflush(stdout);
}

void Subject::compare(std::string_view what, const std::vector<Candidate>& candidates, int rounds) const {
  std::vector<std::vector<double>> values(candidates.size());
  for (std::size_t round = 0; round <= static_cast<std::size_t>(rounds); ++round) {
    for (std::size_t turn = 0; turn < candidates.size(); ++turn) {
      // Another one begins each time, and so follows another.
      const std::size_t i = (turn + round) % candidates.size();
      const auto value = candidates[i].measure ? candidates[i].measure() : std::nullopt;
      if (value && round > 0) values[i].push_back(*value);
    }
  }

  const char* const path = std::getenv("JV_BENCH_ROWS");
  std::ofstream rows;
  if (path) rows.open(path, std::ios::app);
  const auto floor = resultOf(values[0], better_);
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    const Candidate& candidate = candidates[i];
    const auto result = resultOf(values[i], better_);
    const auto ratio = result && floor ? std::optional(ratioOf(*result, *floor, better_)) : std::nullopt;
    printRow(i == 0 ? std::string(what).c_str() : "", candidate.name, result, ratio);
    constexpr std::array kWho{"floor", "ours", "peer"};
    nlohmann::ordered_json row{
        {"subject", title_},      {"case", what},  {"who", kWho.at(static_cast<std::size_t>(candidate.who))},
        {"name", candidate.name}, {"unit", unit_}, {"better", better_ == Better::kLess ? "less" : "more"}};
    put(row, "", result);
    put(row, "_ratio", ratio);
    if (path) rows << row << '\n';
  }
  std::fflush(stdout);
}

}  // namespace jv::bench
