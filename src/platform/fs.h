// File system helpers: existence, removal, renaming, folders, listing, temporary names.
#pragma once

#include <cstdint>
#include <vector>

#include "frame/internal_api.h"
#include "kivdbxt/types.h"

namespace kiv {

// Whether another process can remove or rename a file that this one holds open (POSIX), or not
// until it is closed (Windows).
#if defined(_WIN32)
inline constexpr bool kOpenFilesCanBeRemoved = false;
#else
inline constexpr bool kOpenFilesCanBeRemoved = true;
#endif

KIV_INTERNAL_API bool FileExists(const String& path);  // a regular file
bool FolderExists(const String& path);
// Removes a file; never raises (a missing or busy file is left to the caller's existence test).
KIV_INTERNAL_API bool RemoveFile(const String& path);
void RenameFile(const String& from, const String& to);    // raises 53, 58, 75 ...
void CopyFile(const String& from, const String& to);      // raises
KIV_INTERNAL_API int64_t FileLength(const String& path);  // raises 53
// Creates a folder and its missing parents; failures are left to the first use of the folder.
void PrepareFolder(const String& path);
// Whether a character separates a path's components: the platform's separator, and on Windows
// also "/", which its calls accept alike.
bool IsPathSeparator(char16_t c);
// The folder with exactly one trailing separator.
String WithTrailingSeparator(const String& folder);
// The folder part of a path ("" when it has none).
String ParentFolder(const String& path);
// The last component of a path.
String BaseName(const String& path);
// Names (not paths) of the regular files of a folder matching the pattern's last component
// ("*" and "?"), sorted by name. Case counts where it does in the system's file names (POSIX), and
// not where it does not (Windows). A missing folder lists nothing.
std::vector<String> ListFiles(const String& pattern);
bool WildcardMatch(StringView pattern, StringView name);
// The system's temporary folder, with no trailing separator.
String TempFolder();
// A new, empty file in the temporary folder whose name begins with prefix.
KIV_INTERNAL_API String TempFileName(const String& prefix);
// A new folder in the temporary folder, whose name begins with prefix, that only its owner may
// enter (mode 0700 on POSIX; on Windows the user's own temporary folder is private to the user).
KIV_INTERNAL_API String PrivateTempFolder(const String& prefix);
// Removes an empty folder; never raises.
KIV_INTERNAL_API bool RemoveFolder(const String& path);

}  // namespace kiv
