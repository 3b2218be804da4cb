// A fresh temporary folder per test, removed with everything in it afterwards, and whole-file
// helpers for checking bytes on disk.
#pragma once

#include <string>

#include "kivdbxt/types.h"

namespace kivtest {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  kiv::String Path() const { return kiv::FromUtf8(path_); }
  // The full name of an entry of the folder.
  kiv::String File(const std::string& name) const { return kiv::FromUtf8(FileU8(name)); }
  std::string FileU8(const std::string& name) const {
    return path_ + static_cast<char>(kiv::kPathSeparator) + name;
  }

 private:
  std::string path_;
};

std::string ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::string& bytes);

}  // namespace kivtest
