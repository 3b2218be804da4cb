#include <regex.h>

#include <CLI/CLI.hpp>

#include "raw_grep.h"

namespace kivlog {

struct RawGrep::Compiled {
  regex_t re;
};

RawGrep::RawGrep(const std::string& pattern) : compiled_(std::make_unique<Compiled>()) {
  const int flags = REG_EXTENDED | REG_NOSUB | (HasCapital(pattern) ? 0 : REG_ICASE);
  if (const int rc = ::regcomp(&compiled_->re, pattern.c_str(), flags); rc != 0) {
    char why[256];
    ::regerror(rc, &compiled_->re, why, sizeof why);
    ::regfree(&compiled_->re);
    compiled_.reset();
    throw CLI::ValidationError("--grep", pattern + ": " + why);
  }
}

RawGrep::~RawGrep() {
  if (compiled_) ::regfree(&compiled_->re);
}

bool RawGrep::Matches(const std::string& utf8) const {
  return ::regexec(&compiled_->re, utf8.c_str(), 0, nullptr, 0) == 0;
}

}  // namespace kivlog
