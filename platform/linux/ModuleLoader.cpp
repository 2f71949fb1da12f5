#include "platform/linux/ModuleLoader.h"

#include <dlfcn.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <JorvaneFoundation/platform/Modules.h>

#include "platform/ModuleEntry.h"

namespace jv {
namespace {

LoadedModule refused(const std::string& path, std::string_view why) {
  return {nullptr, path + ": " + std::string(why)};
}

/// Whether others than the owner of @p status's file, and root, can write it.
bool isOpenToOthers(const struct stat& status) {
  if ((status.st_mode & S_IWOTH) != 0) return true;
  // Of the groups only root's and the one that many systems give each user alone, by the user's number, have nobody
  // else in them.
  const bool isOwnGroup = status.st_gid == 0 || status.st_gid == status.st_uid;
  return (status.st_mode & S_IWGRP) != 0 && !isOwnGroup;
}

/// Whether only root, or the user that the process works for, can have put @p status's file there.
bool isTrusted(const struct stat& status) {
  // With raised privileges the user is just who must not choose what runs.
  const bool trustsUser = getauxval(AT_SECURE) == 0;
  return (status.st_uid == 0 || (trustsUser && status.st_uid == geteuid())) && !isOpenToOthers(status);
}

/// What speaks against loading code from @p path; none when nothing does.
const char* objection(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return std::strerror(errno);
  return isTrusted(status) ? nullptr : "not loaded, since others than root and the user can write it";
}

LoadedModule tableOf(const std::string& path, void* library) {
  using Entry = const ModuleEntry*();
  const auto entry = reinterpret_cast<Entry*>(dlsym(library, kModuleEntryName));
  if (!entry) return refused(path, "not a module of this library");
  if (std::strcmp(entry()->version, JV_VERSION_TEXT) != 0) {
    return refused(path, std::string("of version ") + entry()->version + ", the library is " JV_VERSION_TEXT);
  }
  return {entry()->table, {}};
}

/// The folder of the modules, beside the file that this code is in; empty when that is unknown.
std::string moduleFolder() {
  Dl_info own;
  // A relative name would have been made in a current directory that may have changed since.
  if (dladdr(reinterpret_cast<void*>(&moduleFolder), &own) == 0 || own.dli_fname[0] != '/') return {};
  const std::unique_ptr<char, decltype(&std::free)> file(realpath(own.dli_fname, nullptr), &std::free);
  if (!file) return {};
  const std::string path = file.get();
  return path.substr(0, path.rfind('/') + 1) + "JorvaneFoundation";
}

/// All modules that were asked for. Never destroyed: threads may ask while the process ends.
struct Modules {
  std::mutex mutex;
  std::map<std::string, LoadedModule, std::less<>> byName;

  static Modules& shared() {
    static auto& modules = *new Modules;
    return modules;
  }
};

}  // namespace

LoadedModule loadModule(const std::string& folder, std::string_view name) {
  if (folder.empty()) return refused(std::string(name), "the library was not loaded by an absolute path");
  const std::string path = folder + "/" + std::string(name) + ".so";
  if (const char* why = objection(folder)) return refused(folder, why);
  if (const char* why = objection(path)) return refused(path, why);
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (!library) return {nullptr, dlerror()};
  return tableOf(path, library);
}

const LoadedModule& moduleNamed(std::string_view name) {
  Modules& modules = Modules::shared();
  const std::lock_guard lock(modules.mutex);
  auto found = modules.byName.find(name);
  if (found == modules.byName.end()) {
    found = modules.byName.emplace(std::string(name), loadModule(moduleFolder(), name)).first;
  }
  return found->second;
}

}  // namespace jv

namespace JVPlatform {

std::vector<ModuleState> modules() {
  jv::Modules& known = jv::Modules::shared();
  const std::lock_guard lock(known.mutex);
  std::vector<ModuleState> states;
  for (const auto& [name, module] : known.byName) states.push_back({name, module.problem});
  return states;
}

}  // namespace JVPlatform
