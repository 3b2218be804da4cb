// The file system helpers over POSIX calls.
#include "platform/fs.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "frame/error.h"
#include "platform/rt_errors.h"
#include "platform/text_codec.h"

namespace kiv {

bool FileExists(const String& path) {
  struct stat st;
  return !path.empty() && ::stat(ToUtf8(path).c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool FolderExists(const String& path) {
  struct stat st;
  const String p = path.empty() ? u"." : path;
  return ::stat(ToUtf8(p).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool RemoveFile(const String& path) { return ::unlink(ToUtf8(path).c_str()) == 0; }

void RenameFile(const String& from, const String& to) {
  if (!FileExists(from)) Raise(kErrFileNotFound);
  if (FileExists(to)) Raise(kErrFileExists);
  if (::rename(ToUtf8(from).c_str(), ToUtf8(to).c_str()) != 0) RaiseErrno(errno);
}

int64_t FileLength(const String& path) {
  struct stat st;
  if (::stat(ToUtf8(path).c_str(), &st) != 0) RaiseErrno(errno);
  return st.st_size;
}

void PrepareFolder(const String& path) {
  if (path.empty()) return;
  std::string native = ToUtf8(path);
  for (size_t i = 1; i <= native.size(); ++i) {
    if (i == native.size() || native[i] == '/') {
      std::string part = native.substr(0, i);
      ::mkdir(part.c_str(), 0777);  // an existing folder is fine
    }
  }
}

std::vector<String> ListFiles(const String& pattern) {
  String folder = ParentFolder(pattern);
  String mask = BaseName(pattern);
  std::vector<String> names;
  DIR* dir = ::opendir(ToUtf8(folder.empty() ? u"." : folder).c_str());
  if (!dir) return names;
  String prefix = folder.empty() ? String() : WithTrailingSeparator(folder);
  while (dirent* entry = ::readdir(dir)) {
    String name = FromUtf8(entry->d_name);
    if (!WildcardMatch(mask, name)) continue;
    if (FileExists(prefix + name)) names.push_back(std::move(name));
  }
  ::closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

String TempFolder() {
  const char* tmp = std::getenv("TMPDIR");
  String folder = FromUtf8(tmp && *tmp ? tmp : "/tmp");
  while (folder.size() > 1 && folder.back() == kPathSeparator) folder.pop_back();
  return folder;
}

String TempFileName(const String& prefix) {
  std::string templ = ToUtf8(WithTrailingSeparator(TempFolder()) + prefix) + "XXXXXX";
  int fd = ::mkstemp(templ.data());
  if (fd < 0) RaiseErrno(errno, true);
  ::close(fd);
  return FromUtf8(templ);
}

String PrivateTempFolder(const String& prefix) {
  std::string templ = ToUtf8(WithTrailingSeparator(TempFolder()) + prefix) + "XXXXXX";
  if (!::mkdtemp(templ.data())) RaiseErrno(errno, true);
  return FromUtf8(templ);
}

bool RemoveFolder(const String& path) { return ::rmdir(ToUtf8(path).c_str()) == 0; }

}  // namespace kiv
