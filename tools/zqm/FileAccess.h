// Files and directories of the tool, private to their owner.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm::tools {

// Each throws std::runtime_error with the path and the reason.

Bytes readFile(const std::filesystem::path& file);
// Mode 0600; the file must not exist.
void writeNewFile(const std::filesystem::path& file, const Bytes& content);
// Mode 0700; an existing directory must be empty.
void makeEmptyDirectory(const std::filesystem::path& directory);

// A property list that is a dictionary.
Dictionary readDictionary(const std::filesystem::path& file);
// In the XML form, which people can edit.
void writeNewDictionary(const std::filesystem::path& file, const Dictionary& dictionary);

}  // namespace zqm::tools
