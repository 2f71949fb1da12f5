/// Where the names of files come from: folders and lists.
#pragma once

#include <functional>
#include <string>

namespace jv {

/// Is told of files one after the other. The functions that return false want no more.
struct NameVisitor {
  std::function<bool(std::string name)> file;
  std::function<bool(std::string name, std::string reason)> unreadable;  ///< a folder or list that cannot be read on
  std::function<void(bool)> waits;  ///< true before waiting for somebody else's names, false afterwards
};

/// Visits the regular files in the folder @p name and the folders in it, at any depth, in the order in which the file
/// system lists them. Symbolic links are left aside, so there are no cycles. Memory: an open folder a level.
bool visitFolder(const std::string& name, const NameVisitor& visitor);

/// Visits the names that the file @p list holds, `-` being standard input: each ended by a zero byte when the beginning
/// of the list has one, else each on its line. Empty names are left out. Reads as the names come.
/// @throws std::system_error when it cannot be read, or holds something else than names
void visitList(const std::string& list, const NameVisitor& visitor);

}  // namespace jv
