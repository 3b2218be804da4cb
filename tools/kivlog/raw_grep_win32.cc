#include <CLI/CLI.hpp>
#include <regex>

#include "raw_grep.h"

namespace kivlog {

struct RawGrep::Compiled {
  std::regex re;
};

RawGrep::RawGrep(const std::string& pattern) {
  auto flags = std::regex::extended | std::regex::nosubs | std::regex::optimize;
  if (!HasCapital(pattern)) flags |= std::regex::icase;
  try {
    compiled_ = std::make_unique<Compiled>(Compiled{std::regex(pattern, flags)});
  } catch (const std::regex_error& e) {
    throw CLI::ValidationError("--grep", pattern + ": " + e.what());
  }
}

RawGrep::~RawGrep() = default;

bool RawGrep::Matches(const std::string& utf8) const {
  return std::regex_search(utf8, compiled_->re);
}

}  // namespace kivlog
