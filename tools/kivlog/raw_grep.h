// --grep: an extended regular expression on the raw data; it ignores case unless it holds a
// capital letter, as journalctl's does. POSIX's <regex.h> where the system has it
// (raw_grep_posix.cc), the C++ library's on Windows (raw_grep_win32.cc).
#pragma once

#include <memory>
#include <string>

namespace kivlog {

class RawGrep {
 public:
  // Raises CLI::ValidationError when the pattern is not a regular expression.
  explicit RawGrep(const std::string& pattern);
  ~RawGrep();
  RawGrep(const RawGrep&) = delete;
  RawGrep& operator=(const RawGrep&) = delete;
  bool Matches(const std::string& utf8) const;

 private:
  struct Compiled;
  std::unique_ptr<Compiled> compiled_;
};

// Whether the pattern looks for a capital letter; an escape ("\S") is not one.
inline bool HasCapital(const std::string& pattern) {
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == '\\') {
      ++i;
      continue;
    }
    if (pattern[i] >= 'A' && pattern[i] <= 'Z') return true;
  }
  return false;
}

}  // namespace kivlog
