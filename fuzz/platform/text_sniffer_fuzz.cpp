// Holds the text sniffer, asked for any list of encodings with any caps and hints, against its plain form.

#include <JorvaneFoundation/platform/TextSniffer.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "encoding/byte_reference.h"
#include "platform/linux/text_sniffer/reference.h"
#include "support/input.h"

namespace {

using jv::fuzz::Bytes;
using jv::fuzz::require;

constexpr std::array<std::uint32_t, 10> kEncodings = {0x0001, 0x0820, 0x0920, 0x0002, 0x0931,
                                                      0x0A03, 0x0003, 0x0840, 0x0940, 0x0019};
constexpr std::uint32_t kLast = 0x0930;
constexpr std::array<std::uint64_t, 4> kCaps = {1, 2, 300, std::numeric_limits<std::uint64_t>::max()};

struct Fit {
  std::uint32_t encoding;
  std::uint64_t errors;
  std::uint64_t features;
  friend bool operator==(const Fit&, const Fit&) = default;
};

struct Question {
  std::vector<std::uint32_t> encodings;
  std::uint64_t maxErrors = 0;
  std::uint64_t maxFeatures = 0;
  JVPlatform::SniffHints hints;
};

/// Texts are read in blocks of this size, for one encoding after the other.
constexpr std::size_t kBlock = std::size_t{32} << 10;

/// How many bytes of plain text to put in front: mostly none, now and then so many that a block ends in what follows.
std::size_t drawPadding(jv::fuzz::Input& input) {
  const std::size_t choice = input.number();
  return choice < 0xE0 ? 0 : kBlock - (choice & 31);
}

/// A list of any length up to 17, repeats included, in any order.
std::vector<std::uint32_t> drawEncodings(jv::fuzz::Input& input) {
  std::vector<std::uint32_t> encodings(input.number() % 18);
  for (std::uint32_t& encoding : encodings) {
    const std::size_t index = input.number() % (kEncodings.size() + 1);
    encoding = index < kEncodings.size() ? kEncodings[index] : kLast;
  }
  return encodings;
}

std::vector<Fit> expected(const Question& question, Bytes text) {
  const auto fitsBetter = [](const Fit& a, const Fit& b) {
    return a.errors != b.errors ? a.errors < b.errors : a.features > b.features;
  };
  std::vector<Fit> fits;
  for (const std::uint32_t encoding : question.encodings) {
    const auto counts = jv::sniffing::countByReference(encoding, text, question.maxErrors, question.maxFeatures);
    const Fit fit = {encoding, counts.errors, counts.features};
    fits.insert(std::ranges::upper_bound(fits, fit, fitsBetter), fit);
  }
  return fits;
}

std::vector<Fit> answer(const Question& question, Bytes text) {
  const auto sniffer = JVPlatform::textSniffer();
  std::vector<std::uint32_t> encodings = question.encodings;
  std::vector<std::uint64_t> errors(encodings.size());
  std::vector<std::uint64_t> features(encodings.size());
  JVPlatform::TECSnifferObjectRef object = nullptr;
  require(sniffer->TECCreateSniffer(&object, encodings) == 0, "a sniffer for encodings that are known");
  require(sniffer->TECSniffTextEncoding(object, text, encodings, errors, question.maxErrors, features,
                                        question.maxFeatures, question.hints) == 0,
          "an answer");
  require(sniffer->TECDisposeSniffer(object) == 0, "given back");
  std::vector<Fit> fits;
  for (std::size_t i = 0; i < encodings.size(); ++i) fits.push_back({encodings[i], errors[i], features[i]});
  return fits;
}

/// The error-free ones are as they are; of the others nothing is left but that there are so many.
void forgetWhatErrorFreeOnlyLeavesOpen(std::vector<Fit>& fits) {
  const auto firstWithErrors = std::ranges::find_if(fits, [](const Fit& fit) { return fit.errors > 0; });
  for (auto fit = firstWithErrors; fit != fits.end(); ++fit) {
    require(fit->errors > 0, "those with errors stand last");
    *fit = {0, 1, 0};
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  jv::fuzz::Input input(data, size);
  const std::size_t offset = input.number() % 64;
  Question question;
  const std::uint64_t caps = input.number();
  question.maxErrors = kCaps[caps & 3];
  question.maxFeatures = kCaps[caps >> 2 & 3];
  question.hints.errorFreeOnly = (caps & 16) != 0;
  const bool usePrefix = (caps & 32) != 0;
  const std::uint64_t part = caps >> 6;
  std::vector<std::uint8_t> text(drawPadding(input), 'a');
  question.encodings = drawEncodings(input);
  if (!text.empty() && question.encodings.size() > 2) question.encodings.resize(2);  // the plain form is slow
  text.insert(text.end(), input.text().begin(), input.text().end());
  const jv::fuzz::ExactCopy copy(text, offset);
  if (usePrefix) question.hints.plainPrefix = jv::reference::plainPrefix(copy.bytes()) >> part;

  std::vector<Fit> given = answer(question, copy.bytes());
  std::vector<Fit> wanted = expected(question, copy.bytes());
  if (question.hints.errorFreeOnly) {
    forgetWhatErrorFreeOnlyLeavesOpen(given);
    forgetWhatErrorFreeOnlyLeavesOpen(wanted);
  }
  require(given == wanted, "the counts and their order");
  return 0;
}
