#include "platform/linux/user_facts.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <vector>

#include "foundation/utf8.h"
#include "platform/linux/text_files.h"

namespace jv {
namespace {

constexpr int kNotPreferred = 101;  // numbers of preference go from 1 to 100

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string inCapitals(std::string_view text) {
  std::string capitals(text);
  std::ranges::transform(capitals, capitals.begin(), upper);
  return capitals;
}

/// Lines without their ends; what continues one on the next (a blank in front) is put together.
std::vector<std::string> unfoldedLines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    const bool continues = !lines.empty() && (line.starts_with(' ') || line.starts_with('\t'));
    if (continues) {
      lines.back() += line.substr(1);
    } else {
      lines.emplace_back(line);
    }
  }
  return lines;
}

/// A value without its backslashes.
std::string unescaped(std::string_view value) {
  std::string text;
  for (std::size_t at = 0; at < value.size(); ++at) {
    const bool escapes = value[at] == '\\' && at + 1 < value.size();
    text += escapes ? value[++at] : value[at];
  }
  return text;
}

/// The part of @p line in front of the colon that ends property and parameters; colons in quotes do not count.
std::string_view headOf(std::string_view line) {
  bool quoted = false;
  for (std::size_t at = 0; at < line.size(); ++at) {
    if (line[at] == '"') quoted = !quoted;
    if (line[at] == ':' && !quoted) return line.substr(0, at);
  }
  return {};
}

std::string_view takePart(std::string_view& text, char separator) {
  const std::size_t end = text.find(separator);
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(end == text.npos ? text.size() : end + 1);
  return part;
}

/// How much a parameter in capitals prefers its value: 1 most.
int preferenceOf(std::string_view parameter) {
  if (parameter.starts_with("PREF=")) {
    int number = kNotPreferred;
    std::from_chars(parameter.data() + 5, parameter.data() + parameter.size(), number);
    return number >= 1 ? number : kNotPreferred;
  }
  if (parameter.starts_with("TYPE=")) parameter.remove_prefix(5);
  while (!parameter.empty()) {
    std::string_view type = takePart(parameter, ',');
    type.remove_prefix(std::min(type.find_first_not_of('"'), type.size()));
    if (type.substr(0, type.find('"')) == "PREF") return 1;
  }
  return kNotPreferred;
}

/// What a line of a card says: the property's name in capitals, without the group in front of it, and its preference.
struct Property {
  std::string name;
  int preference = kNotPreferred;
};

Property propertyOf(std::string_view head) {
  const std::string capitals = inCapitals(head);
  std::string_view parameters = capitals;
  std::string_view name = takePart(parameters, ';');
  const std::size_t group = name.rfind('.');
  if (group != name.npos) name.remove_prefix(group + 1);
  Property property{std::string(name)};
  while (!parameters.empty()) {
    property.preference = std::min(property.preference, preferenceOf(takePart(parameters, ';')));
  }
  return property;
}

}  // namespace

std::optional<std::string> fullNameOf(std::string_view field, std::string_view login) {
  std::string capitalised(login);
  if (!capitalised.empty()) capitalised.front() = upper(capitalised.front());
  std::string name;
  for (const char c : field.substr(0, field.find(','))) {
    if (c == '&') {
      name += capitalised;
    } else {
      name += c;
    }
  }
  if (!saysSomething(name) || name == login) return std::nullopt;
  return name;
}

std::optional<JVPlatform::ABMultiValue> emailsOfCard(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  bool inside = false;
  int best = kNotPreferred;
  JVPlatform::ABMultiValue emails;
  for (const std::string& line : unfoldedLines(text)) {
    const std::string_view head = headOf(line);
    const std::string_view value = std::string_view(line).substr(std::min(head.size() + 1, line.size()));
    const Property property = propertyOf(head);
    if (property.name == "BEGIN") inside = true;
    if (property.name == "END" && inside) break;
    if (!inside || property.name != "EMAIL" || !isUtf8(value)) continue;
    emails.entries.push_back({std::to_string(emails.count()), unescaped(value)});
    if (property.preference >= best) continue;
    best = property.preference;
    emails.primaryIdentifier = emails.entries.back().identifier;
  }
  if (!inside) return std::nullopt;
  return emails;
}

std::string pathOfOwnCard() {
  constexpr const char* kCard = "/JorvaneFoundation/me.vcf";
  const char* const configuration = std::getenv("XDG_CONFIG_HOME");
  if (configuration && *configuration == '/') return std::string(configuration) + kCard;
  const char* const home = std::getenv("HOME");
  return home && *home == '/' ? std::string(home) + "/.config" + kCard : std::string();
}

}  // namespace jv
