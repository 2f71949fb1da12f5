#include <JorvaneFoundation/platform/TextSniffer.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"

namespace JVPlatform {
namespace {

// Made on first use and never torn down, so that threads may still sniff while the process ends.
jv::Facility<TextSniffer>& facility() {
  static auto& only = *new jv::Facility<TextSniffer>(jv::makeTextSniffer);
  return only;
}

}  // namespace

TECSnifferObject::~TECSnifferObject() = default;
TextSniffer::~TextSniffer() = default;

std::shared_ptr<TextSniffer> textSniffer() { return facility().inUse(); }

std::shared_ptr<TextSniffer> installTextSniffer(std::shared_ptr<TextSniffer> other) {
  return facility().install(std::move(other));
}

}  // namespace JVPlatform
