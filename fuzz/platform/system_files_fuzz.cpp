// Reads files of the system and of the user, and holds what comes out against what went in.

#include <string>
#include <string_view>

#include "platform/linux/text_files.h"
#include "platform/linux/user_facts.h"
#include "support/input.h"

namespace {

using jv::fuzz::require;

/// Whether the characters of @p part come in @p whole in the same order: readers leave out, and add nothing.
bool isMadeOf(std::string_view part, std::string_view whole) {
  for (const char c : part) {
    const std::size_t at = whole.find(c);
    if (at == whole.npos) return false;
    whole.remove_prefix(at + 1);
  }
  return true;
}

void readVariables(std::string_view text) {
  const auto value = jv::variableIn(text, "NAME");
  if (value) {
    require(value->find('\n') == value->npos, "a value ends with its line");
    require(isMadeOf(*value, text), "a value stands in its file");
  }
  const std::string_view line = jv::firstLineOf(text);
  require(line.empty() || (line.front() != '#' && line.find('\n') == line.npos), "a line is one");
}

void readCard(std::string_view text) {
  const auto emails = jv::emailsOfCard(text);
  if (!emails) return;
  std::size_t size = 0;
  for (const auto& entry : emails->entries) {
    require(isMadeOf(*entry.value, text), "an address stands in its card");
    size += entry.value->size();
  }
  require(size <= text.size(), "addresses are no longer than their card");
  if (!emails->primaryIdentifier) return;
  require(emails->valueForIdentifier(*emails->primaryIdentifier).has_value(), "the primary address is one of them");
}

void readField(std::string_view text) {
  const auto name = jv::fullNameOf(text, "ada");
  if (!name) return;
  require(!name->empty() && *name != "ada", "a name says something");
  require(name->find(',') == name->npos && name->find('&') == name->npos, "a name has no marks");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const jv::fuzz::ExactCopy copy({data, size}, 0);
  const std::string_view text(reinterpret_cast<const char*>(copy.bytes().data()), size);
  readVariables(text);
  readCard(text);
  readField(text);
  return 0;
}
