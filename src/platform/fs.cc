#include "platform/fs.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "frame/error.h"
#include "platform/file.h"
#include "platform/rt_errors.h"

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

void CopyFile(const String& from, const String& to) {
  File src = File::Open(from, OpenOptions{Access::Read});
  File dst = File::Open(to, OpenOptions{Access::Write, true, true});
  std::vector<char> buf(1 << 20);
  int64_t offset = 0;
  for (;;) {
    size_t n = src.ReadAt(offset, buf.data(), buf.size());
    if (n == 0) break;
    dst.WriteAt(offset, buf.data(), n);
    offset += static_cast<int64_t>(n);
  }
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

String WithTrailingSeparator(const String& folder) {
  String out = folder;
  while (out.size() > 1 && out.back() == kPathSeparator && out[out.size() - 2] == kPathSeparator) {
    out.pop_back();
  }
  if (out.empty() || out.back() != kPathSeparator) out.push_back(kPathSeparator);
  return out;
}

String ParentFolder(const String& path) {
  size_t at = path.rfind(kPathSeparator);
  if (at == String::npos) return String();
  return at == 0 ? String(1, kPathSeparator) : path.substr(0, at);
}

String BaseName(const String& path) {
  size_t at = path.rfind(kPathSeparator);
  return at == String::npos ? path : path.substr(at + 1);
}

bool WildcardMatch(StringView pattern, StringView name) {
  size_t p = 0, n = 0, star = StringView::npos, mark = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == u'?' || pattern[p] == name[n])) {
      ++p;
      ++n;
    } else if (p < pattern.size() && pattern[p] == u'*') {
      star = p++;
      mark = n;
    } else if (star != StringView::npos) {
      p = star + 1;
      n = ++mark;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*') ++p;
  return p == pattern.size();
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

}  // namespace kiv
