// The file system helpers that are the same on every system: names and copies.
#include "platform/fs.h"

#include <vector>

#include "platform/file.h"

namespace kiv {

bool IsPathSeparator(char16_t c) { return c == kPathSeparator || c == u'/'; }

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

String WithTrailingSeparator(const String& folder) {
  String out = folder;
  while (out.size() > 1 && IsPathSeparator(out.back()) && IsPathSeparator(out[out.size() - 2])) {
    out.pop_back();
  }
  if (out.empty() || !IsPathSeparator(out.back())) out.push_back(kPathSeparator);
  return out;
}

namespace {

size_t LastSeparator(const String& path) {
  for (size_t i = path.size(); i > 0; --i) {
    if (IsPathSeparator(path[i - 1])) return i - 1;
  }
  return String::npos;
}

}  // namespace

String ParentFolder(const String& path) {
  size_t at = LastSeparator(path);
  if (at == String::npos) return String();
  return at == 0 ? path.substr(0, 1) : path.substr(0, at);
}

String BaseName(const String& path) {
  size_t at = LastSeparator(path);
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

}  // namespace kiv
