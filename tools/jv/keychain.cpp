// jv keychain: reads, saves, lists and deletes passwords.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <iostream>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <JorvaneFoundation/keychain/JVKeychain.h>
#include <JorvaneFoundation/platform/Keychain.h>
#include <JorvaneFoundation/platform/KeychainVault.h>

#include "commands.h"
#include "keychain_items.h"
#include "output.h"
#include "secret_input.h"
#include "text_forms.h"

namespace {

using JVFoundation::NSError;
using JVFoundation::Value;
using JVPlatform::OSStatus;
using nlohmann::ordered_json;

struct Options {
  jv::ItemChoice item;
  std::string separator = "/";
  std::optional<std::string> vault;
  std::optional<int> passphraseDescriptor;
  bool showPasswords = false;
  bool json = false;
};

int fail(const NSError& error) {
  std::cerr << "jv keychain: " << error.localizedDescription();
  if (const auto suggestion = error.localizedRecoverySuggestion()) std::cerr << ": " << *suggestion;
  std::cerr << '\n';
  return jv::kFailed;
}

int fail(std::string_view description, OSStatus status) {
  return fail(JVKeychain::errorWithDescription(description, status));
}

/// Prints the pieces one behind the other, without a copy of any: one may be a password.
int show(std::initializer_list<std::string_view> pieces) {
  jv::Output output;
  for (const std::string_view piece : pieces) output.writeSecret(piece);
  if (output.error() == 0) return jv::kDone;
  std::cerr << "jv keychain: cannot write: " << std::strerror(output.error()) << '\n';
  return jv::kFailed;
}

/// @p text as JSON has it, made in memory that is taken in one piece.
jv::SecretText jsonText(std::string_view text) {
  constexpr std::size_t kLongestForm = 6;  // \u0000
  jv::SecretText json;
  json.text.reserve(kLongestForm * text.size() + 2);
  json.text += '"';
  for (const char character : text) {
    if (static_cast<unsigned char>(character) < 0x20) {
      json.text.append("\\u00").append(jv::hexadecimalOf({&character, 1}));
      continue;
    }
    if (character == '"' || character == '\\') json.text += '\\';
    json.text += character;
  }
  json.text += '"';
  return json;
}

/// Prints @p line as an object, with @p password, if there is one, as its last member.
int show(const ordered_json& line, const jv::SecretText* password) {
  std::string front = line.dump();
  if (password == nullptr) return show({front, "\n"});
  front.pop_back();
  if (!line.empty()) front += ',';
  const bool isText = jv::isUTF8(password->text);
  const jv::SecretText value =
      isText ? jsonText(password->text) : jsonText(jv::SecretText(jv::hexadecimalOf(password->text)).text);
  return show({front, isText ? "\"password\":" : "\"passwordHex\":", value.text, "}\n"});
}

/// Bytes that are no text go as digits under a name of their own.
void setBytes(ordered_json& line, std::string name, std::string_view bytes) {
  if (jv::isUTF8(bytes)) {
    line[name] = bytes;
  } else {
    line[name + "Hex"] = jv::hexadecimalOf(bytes);
  }
}

// --- which keychain ---

jv::SecretText passphraseFor(const Options& options, bool mayCreate) {
  if (options.passphraseDescriptor) return jv::readSecret(*options.passphraseDescriptor);
  jv::SecretText passphrase = jv::askForSecret("Passphrase of " + *options.vault + ": ");
  if (mayCreate && !std::filesystem::exists(*options.vault)) {
    const jv::SecretText again = jv::askForSecret("The vault is new. The same passphrase again: ");
    if (again.text != passphrase.text) throw std::runtime_error("the two passphrases differ");
  }
  return passphrase;
}

/// Puts the vault in use that was asked for.
bool chooseKeychain(const Options& options, JVPlatform::VaultFile file) {
  if (!options.vault) return true;
  const jv::SecretText passphrase = passphraseFor(options, file == JVPlatform::VaultFile::createIfMissing);
  std::optional<NSError> error;
  std::shared_ptr<JVPlatform::Keychain> vault = JVPlatform::openVault(*options.vault, passphrase.text, file, &error);
  if (error) fail(*error);
  if (vault) JVPlatform::installKeychain(std::move(vault));
  return !error;
}

// --- the commands ---

std::int64_t protocolOf(const Options& options) {
  if (options.item.protocol == "ftp") return JVKeychainProtocolFTP;
  if (options.item.protocol == "ftps") return JVKeychainProtocolFTPS;
  return JVKeychainProtocolAny;
}

/// Overwrites the passwords of a result, which is ours alone.
void wipePasswords(const Value& result) {
  for (const auto& [account, password] : *result.dictionary()) {
    jv::wipe(const_cast<std::uint8_t*>(password.data()->data()), password.data()->size());
  }
}

/// The password, none when there is none.
std::optional<jv::SecretText> passwordOf(const Options& options, std::optional<NSError>& error) {
  const jv::ItemChoice& item = options.item;
  if (item.host) {
    auto found = JVKeychain::passwordForHost(item.host, item.user.value_or(""), protocolOf(options), &error);
    return found ? std::optional<jv::SecretText>(std::move(*found)) : std::nullopt;
  }
  // The empty account would stand for all of them.
  const std::string account = item.account.value_or("");
  const std::optional<Value> found = account.empty()
                                         ? JVKeychain::genericPasswordsWithService(*item.service, &error)
                                         : JVKeychain::genericPasswordsWithAccounts({account}, *item.service, &error);
  std::optional<jv::SecretText> password;
  if (const Value* const value = found && !error ? found->find(account) : nullptr) {
    password.emplace().text.assign(reinterpret_cast<const char*>(value->data()->data()), value->data()->size());
  }
  if (found) wipePasswords(*found);
  return password;
}

int get(const Options& options) {
  if (!chooseKeychain(options, JVPlatform::VaultFile::mustExist)) return jv::kFailed;
  std::optional<NSError> error;
  const std::optional<jv::SecretText> password = passwordOf(options, error);
  if (error) return fail(*error);
  if (!password) return jv::kNothing;
  return options.json ? show(ordered_json::object(), &*password) : show({password->text, "\n"});
}

int save(const Options& options) {
  const bool isTerminal = isatty(STDIN_FILENO) != 0;
  if (options.vault && options.passphraseDescriptor == STDIN_FILENO && !isTerminal) {
    std::cerr << "jv keychain: standard input cannot hold both the passphrase and the password\n";
    return jv::kBadUsage;
  }
  if (!chooseKeychain(options, JVPlatform::VaultFile::createIfMissing)) return jv::kFailed;
  const jv::SecretText password = jv::secretFromStandardInput("Password: ");
  const jv::ItemChoice& item = options.item;
  std::optional<NSError> error;
  if (item.host) {
    JVKeychain::savePassword(password.text, item.host, item.user.value_or(""), protocolOf(options), &error);
  } else {
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(password.text.data()), password.text.size());
    JVKeychain::saveGenericPassword(bytes, *item.service, item.account.value_or(""), options.separator, &error);
  }
  return error ? fail(*error) : jv::kDone;
}

std::string lineOf(const Value& item) {
  std::string line;
  const auto add = [&](std::string_view text) {
    if (!line.empty()) line += '\t';
    line += jv::printableName(text);
  };
  const bool isGeneric = item.find("svce") != nullptr;
  const std::vector<const char*> keys =
      isGeneric ? std::vector{"svce", "acct", "labl"} : std::vector{"srvr", "acct", "ptcl", "labl"};
  for (const char* key : keys) {
    const std::string* const text = item.text(key);
    add(text ? *text : "");
  }
  return line;
}

ordered_json jsonOf(const Value& item) {
  constexpr std::pair<const char*, const char*> kNames[] = {
      {"srvr", "host"}, {"svce", "service"},  {"acct", "account"},        {"sdmn", "domain"}, {"path", "path"},
      {"port", "port"}, {"ptcl", "protocol"}, {"atyp", "authentication"}, {"labl", "label"},
  };
  ordered_json line;
  for (const auto& [key, name] : kNames) {
    if (const std::string* text = item.text(key)) setBytes(line, name, *text);
    if (const JVFoundation::NSNumber* number = item.number(key)) line[name] = number->intValue();
  }
  return line;
}

int show(const std::string& line, const jv::SecretText* password) {
  if (password == nullptr) return show({line, "\n"});
  return show({line, "\t", jv::SecretText(jv::printableName(password->text)).text, "\n"});
}

int list(const Options& options) {
  if (!chooseKeychain(options, JVPlatform::VaultFile::mustExist)) return jv::kFailed;
  std::vector<Value> items;
  const OSStatus status = jv::findItems(options.item, items);
  if (status != JVPlatform::errSecSuccess) return fail("Cannot list the keychain's items", status);
  for (const Value& item : items) {
    jv::SecretText password;
    if (options.showPasswords) {
      const OSStatus read = jv::readPassword(item, password);
      if (read == JVPlatform::errSecItemNotFound) continue;  // gone meanwhile
      if (read != JVPlatform::errSecSuccess) return fail("Cannot read a password", read);
    }
    const jv::SecretText* const shown = options.showPasswords ? &password : nullptr;
    const int ended = options.json ? show(jsonOf(item), shown) : show(lineOf(item), shown);
    if (ended != jv::kDone) return ended;
  }
  return items.empty() ? jv::kNothing : jv::kDone;
}

int remove(const Options& options) {
  if (!chooseKeychain(options, JVPlatform::VaultFile::mustExist)) return jv::kFailed;
  std::vector<Value> items;
  const OSStatus status = jv::findItems(options.item, items);
  if (status != JVPlatform::errSecSuccess) return fail("Cannot find the keychain's items", status);
  for (const Value& item : items) {
    const OSStatus deleted = jv::deleteItem(item);
    if (deleted != JVPlatform::errSecSuccess) return fail("Cannot delete a password", deleted);
  }
  return items.empty() ? jv::kNothing : jv::kDone;
}

int status(const Options& options) {
  if (!chooseKeychain(options, JVPlatform::VaultFile::mustExist)) return jv::kFailed;
  JVPlatform::KeychainState state;
  const OSStatus answer = JVPlatform::keychain()->SecKeychainGetStatus(state);
  if (answer != JVPlatform::errSecSuccess) return fail("No keychain can be used", answer);
  if (!options.json) {
    return show({jv::printableName(state.description), ": ", state.isUnlocked ? "unlocked" : "locked", "\n"});
  }
  ordered_json line;
  setBytes(line, "keychain", state.description);
  line["locked"] = !state.isUnlocked;
  return show(line, nullptr);
}

// --- the options ---

enum class Names : std::uint8_t { whole, atLeastOne };

void addItemOptions(CLI::App& command, Options& options, Names names) {
  CLI::Option* const host = command.add_option("--host", options.item.host, "Host of an internet password");
  CLI::Option* const user = command.add_option("--user", options.item.user, "User name there")->needs(host);
  command.add_option("--protocol", options.item.protocol, "ftp or ftps; any protocol when it is left out")
      ->check(CLI::IsMember({"ftp", "ftps"}))
      ->needs(host);
  CLI::Option* const service =
      command.add_option("--service", options.item.service, "Service of a generic password")->excludes(host);
  CLI::Option* const account = command.add_option("--account", options.item.account, "Account there")->needs(service);
  if (names == Names::whole) {
    host->needs(user);
    service->needs(account);
  }
}

/// A command of its own below `jv keychain`.
template <int (*run)(const Options&)>
CLI::App* addCommand(CLI::App& keychain, const std::shared_ptr<Options>& options, int& exitStatus, const char* name,
                     const char* about, std::optional<Names> names) {
  CLI::App* const command = keychain.add_subcommand(name, about);
  if (names) addItemOptions(*command, *options, *names);
  CLI::Option* const vault =
      command->add_option("--vault", options->vault, "Use this vault file in place of the password service");
  command
      ->add_option("--passphrase-fd", options->passphraseDescriptor,
                   "Read the vault's passphrase from this descriptor; it is asked for otherwise")
      ->needs(vault);
  command->add_flag("--json", options->json, "An object a line, for machines");
  command->callback([options, names, &exitStatus] {
    if (names && !options->item.host && !options->item.service) {
      std::cerr << "jv keychain: either --host or --service is required\n";
      exitStatus = jv::kBadUsage;
      return;
    }
    exitStatus = run(*options);
  });
  return command;
}

constexpr const char* kFooter = R"(Internet passwords belong to a host and a user, generic passwords to a service
and an account. They are kept by the desktop's password service, or with --vault
in an encrypted file, which save makes if need be.

A password that is saved is asked for without echo, or read from standard input
up to its end when that is no terminal; one line feed at the end is no part of
it. get prints the password and a line feed. Names should be ASCII: others are
cut short when an item is looked up again.)";

}  // namespace

void jv::addKeychainCommand(CLI::App& app, int& exitStatus) {
  CLI::App* const command = app.add_subcommand("keychain", "Passwords in the user's keychain");
  command->footer(kFooter);
  command->require_subcommand(1);
  const auto options = std::make_shared<Options>();
  addCommand<get>(*command, options, exitStatus, "get", "Prints a password", Names::whole);
  addCommand<save>(*command, options, exitStatus, "save", "Saves a password", Names::whole)
      ->add_option("--separator", options->separator, "Between service and account in a generic password's label")
      ->capture_default_str();
  addCommand<list>(*command, options, exitStatus, "list", "Lists items, oldest first", Names::atLeastOne)
      ->add_flag("--show-passwords", options->showPasswords, "Their passwords as well");
  addCommand<remove>(*command, options, exitStatus, "delete", "Deletes every item with these names", Names::whole);
  addCommand<status>(*command, options, exitStatus, "status", "Says which keychain is used and whether it is locked",
                     std::nullopt);
}
