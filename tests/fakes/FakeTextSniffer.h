/// A text sniffer that answers what it was told, keeps what it was asked, and counts what it gave and got back.
#pragma once

#include <JorvaneFoundation/platform/TextSniffer.h>

#include "support/installed.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace jv::test {

class FakeTextSniffer final : public JVPlatform::TextSniffer {
 public:
  struct Answer {
    std::uint32_t encoding;
    std::uint64_t errors;
    std::uint64_t features;
  };

  /// In use until the end of the scope.
  struct Installed : jvtest::Installed<FakeTextSniffer, JVPlatform::installTextSniffer> {
    explicit Installed(std::vector<Answer> answers)
        : jvtest::Installed<FakeTextSniffer, JVPlatform::installTextSniffer>(std::move(answers)) {}
  };

  /// @param best  what to answer about these encodings, best first; all others come behind them, full of errors.
  explicit FakeTextSniffer(std::vector<Answer> best) : best_(std::move(best)) {}

  JVPlatform::OSStatus TECCreateSniffer(JVPlatform::TECSnifferObjectRef* sniffer,
                                        std::span<const std::uint32_t> encodings) override {
    if (createStatus != 0) return createStatus;
    asked.assign(encodings.begin(), encodings.end());
    *sniffer = &object_;
    return 0;
  }

  JVPlatform::OSStatus TECSniffTextEncoding(JVPlatform::TECSnifferObjectRef sniffer, std::span<const std::uint8_t> text,
                                            std::span<std::uint32_t> encodings, std::span<std::uint64_t> errors,
                                            std::uint64_t mostErrors, std::span<std::uint64_t> features,
                                            std::uint64_t mostFeatures, const JVPlatform::SniffHints&) override {
    if (sniffer != &object_) return -2;
    if (sniffStatus != 0) return sniffStatus;
    length = text.size();
    maxErrors = mostErrors;
    maxFeatures = mostFeatures;
    std::vector<Answer> answers = best_;
    for (const std::uint32_t encoding : encodings) {
      if (std::ranges::find(best_, encoding, &Answer::encoding) == best_.end()) answers.push_back({encoding, 300, 0});
    }
    for (std::size_t i = 0; i < encodings.size(); ++i) {
      encodings[i] = answers[i].encoding;
      errors[i] = answers[i].errors;
      features[i] = answers[i].features;
    }
    return 0;
  }

  JVPlatform::OSStatus TECDisposeSniffer(JVPlatform::TECSnifferObjectRef) override {
    ++disposed;
    return 0;
  }

  JVPlatform::OSStatus createStatus = 0;
  JVPlatform::OSStatus sniffStatus = 0;
  std::vector<std::uint32_t> asked;
  std::uint64_t length = 0;
  std::uint64_t maxErrors = 0;
  std::uint64_t maxFeatures = 0;
  int disposed = 0;

 private:
  struct Object final : JVPlatform::TECSnifferObject {};
  Object object_;
  std::vector<Answer> best_;
};

}  // namespace jv::test
