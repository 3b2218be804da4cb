// File system helpers: existence, removal, renaming, folders, listing, temporary names.
#pragma once

#include <cstdint>
#include <vector>

#include "kivdbxt/types.h"

namespace kiv {

bool FileExists(const String& path);  // a regular file
bool FolderExists(const String& path);
// Removes a file; never raises (a missing or busy file is left to the caller's existence test).
bool RemoveFile(const String& path);
void RenameFile(const String& from, const String& to);  // raises 53, 58, 75 ...
void CopyFile(const String& from, const String& to);    // raises
int64_t FileLength(const String& path);                 // raises 53
// Creates a folder and its missing parents; failures are left to the first use of the folder.
void PrepareFolder(const String& path);
// The folder with exactly one trailing separator.
String WithTrailingSeparator(const String& folder);
// The folder part of a path ("" when it has none).
String ParentFolder(const String& path);
// The last component of a path.
String BaseName(const String& path);
// Names (not paths) of the regular files of a folder matching the pattern's last component
// ("*" and "?"; case counts, as it does in this platform's file names), sorted by name. A missing folder lists nothing.
std::vector<String> ListFiles(const String& pattern);
bool WildcardMatch(StringView pattern, StringView name);
// The system's temporary folder, with no trailing separator.
String TempFolder();
// A new, empty file in the temporary folder whose name begins with prefix.
String TempFileName(const String& prefix);

}  // namespace kiv
