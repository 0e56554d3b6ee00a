// Names of files and directories.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zqm {

// `directory`/`name`.
std::string joinPath(const std::string& directory, std::string_view name);

// The path before the last slash; "." if there is none.
std::string parentDirectory(const std::string& path);

bool isDirectory(const std::string& path);
// Whether the path leads to a regular file.
bool isFile(const std::string& path);

// Calls `take` with each name in a directory until `take` returns false.
void forEachEntry(const std::string& directory, const std::function<bool(const char*)>& take);

// The names in a directory that do not start with a dot, sorted; empty if it cannot be read.
std::vector<std::string> entriesOf(const std::string& directory);

// Creates `path` and its missing parents, with mode 0700. Returns whether the directory exists.
bool makeDirectories(const std::string& path);

}  // namespace zqm
