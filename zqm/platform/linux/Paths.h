// Names of files and directories.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zqm {

// `directory`/`name`.
std::string joinPath(const std::string& directory, std::string_view name);

// What stands before the last slash; "." where there is none.
std::string parentDirectory(const std::string& path);

bool isDirectory(const std::string& path);
// A regular file.
bool isFile(const std::string& path);

// Calls `take` with each name in a directory until it answers false.
void forEachEntry(const std::string& directory, const std::function<bool(const char*)>& take);

// The names in a directory that do not begin with a point, sorted; empty when it cannot be read.
std::vector<std::string> entriesOf(const std::string& directory);

// Creates `path` and what is missing above it, each with mode 0700. True when it is there.
bool makeDirectories(const std::string& path);

}  // namespace zqm
