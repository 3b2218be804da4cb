// The file system helpers over the wide Win32 calls.
#include "platform/fs.h"

#include <windows.h>

#include <algorithm>

#include "frame/error.h"
#include "platform/rt_errors.h"
#include "platform/system.h"
#include "platform/win32/win_error.h"

namespace kiv {
namespace {

DWORD AttributesOf(const String& path) {
  return path.empty() ? INVALID_FILE_ATTRIBUTES : GetFileAttributesW(Wide(path));
}

char16_t Lower(char16_t c) { return c >= u'A' && c <= u'Z' ? c + (u'a' - u'A') : c; }

String Lowered(String s) {
  std::transform(s.begin(), s.end(), s.begin(), Lower);
  return s;
}

}  // namespace

bool FileExists(const String& path) {
  const DWORD a = AttributesOf(path);
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool FolderExists(const String& path) {
  const DWORD a = AttributesOf(path.empty() ? u"." : path);
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Fails while another process has the file open without sharing its deletion: the caller's
// existence test then finds it still there.
bool RemoveFile(const String& path) { return DeleteFileW(Wide(path)) != 0; }

void RenameFile(const String& from, const String& to) {
  if (!FileExists(from)) Raise(kErrFileNotFound);
  if (FileExists(to)) Raise(kErrFileExists);
  // No MOVEFILE_REPLACE_EXISTING: a file that appeared meanwhile is not overwritten.
  if (!MoveFileExW(Wide(from), Wide(to), MOVEFILE_COPY_ALLOWED)) RaiseWinError(GetLastError());
}

int64_t FileLength(const String& path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!GetFileAttributesExW(Wide(path), GetFileExInfoStandard, &data)) {
    RaiseWinError(GetLastError());
  }
  return static_cast<int64_t>((uint64_t{data.nFileSizeHigh} << 32) | data.nFileSizeLow);
}

void PrepareFolder(const String& path) {
  if (path.empty()) return;
  for (size_t i = 1; i <= path.size(); ++i) {
    if (i == path.size() || IsPathSeparator(path[i])) {
      const String part = path.substr(0, i);
      if (part.back() == u':') continue;      // a drive: "C:"
      CreateDirectoryW(Wide(part), nullptr);  // an existing folder is fine
    }
  }
}

std::vector<String> ListFiles(const String& pattern) {
  const String folder = ParentFolder(pattern);
  const String mask = Lowered(BaseName(pattern));
  std::vector<String> names;
  WIN32_FIND_DATAW found{};
  HANDLE find = FindFirstFileW(Wide(pattern), &found);
  if (find == INVALID_HANDLE_VALUE) return names;
  do {
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) continue;
    String name = FromWide(found.cFileName);
    // FindFirstFileW matches short (8.3) names too: "*.ZLG" would find "a.ZLGX". The long name
    // must match itself, without regard to case as Windows' names have none.
    if (WildcardMatch(mask, Lowered(name))) names.push_back(std::move(name));
  } while (FindNextFileW(find, &found));
  FindClose(find);
  std::sort(names.begin(), names.end());
  return names;
}

String TempFolder() {
  wchar_t buf[MAX_PATH + 1];
  const DWORD n = GetTempPathW(MAX_PATH + 1, buf);
  String folder = n > 0 && n <= MAX_PATH ? FromWide(buf) : String(u".");
  while (folder.size() > 1 && IsPathSeparator(folder.back())) folder.pop_back();
  return folder;
}

namespace {

// A name in the temporary folder that nothing has yet, made by create(name) (false when taken).
template <typename Create>
String NewTempName(const String& prefix, Create create) {
  const String base = WithTrailingSeparator(TempFolder()) + prefix;
  for (int attempt = 0; attempt < 1000; ++attempt) {
    String name = base + ZeroPad(ProcessId(), 1) + u"-" + ZeroPad(UniqueNumber(), 1);
    if (create(name)) return name;
    const DWORD err = GetLastError();
    if (err != ERROR_FILE_EXISTS && err != ERROR_ALREADY_EXISTS) RaiseWinError(err);
  }
  RaiseWinError(ERROR_FILE_EXISTS);
}

}  // namespace

String TempFileName(const String& prefix) {
  return NewTempName(prefix, [](const String& name) {
    HANDLE h = CreateFileW(Wide(name), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                           nullptr);
    if (h == INVALID_HANDLE_VALUE) return false;
    CloseHandle(h);
    return true;
  });
}

String PrivateTempFolder(const String& prefix) {
  return NewTempName(prefix,
                     [](const String& name) { return CreateDirectoryW(Wide(name), nullptr) != 0; });
}

bool RemoveFolder(const String& path) { return RemoveDirectoryW(Wide(path)) != 0; }

}  // namespace kiv
