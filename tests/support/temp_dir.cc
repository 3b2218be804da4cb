#include "support/temp_dir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/fs.h"

namespace kivtest {
namespace {

// A UTF-8 name as a path: on Windows a narrow name would be read in the ANSI code page.
std::filesystem::path Utf8Path(const std::string& name) {
  return std::filesystem::path(std::u8string(name.begin(), name.end()));
}

}  // namespace

TempDir::TempDir() { path_ = kiv::ToUtf8(kiv::PrivateTempFolder(u"kivtest-")); }

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(Utf8Path(path_), ec);
}

std::string ReadBytes(const std::string& path) {
  std::ifstream in(Utf8Path(path), std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream out(Utf8Path(path), std::ios::binary | std::ios::trunc);
  out << bytes;
}

}  // namespace kivtest
