/// How the paths that are told are put together.
#pragma once

#include <string>
#include <string_view>

namespace jv::watching {

/// The path of @p name in @p folder.
inline std::string joined(std::string_view folder, std::string_view name) {
  std::string path;
  path.reserve(folder.size() + 1 + name.size());
  path = folder;
  if (!path.ends_with('/')) path += '/';
  path += name;
  return path;
}

/// The folder that @p path is in, in the same spelling.
inline std::string_view folderIn(std::string_view path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string_view::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

/// Whether @p path leads to something in @p folder or deeper. Both are absolute, without a slash at the end.
inline bool isBelow(std::string_view path, std::string_view folder) {
  if (folder == "/") return path.size() > 1;
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

}  // namespace jv::watching
