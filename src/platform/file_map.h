// A read-only view of a file's first bytes, shared with every process that writes the file: what
// they write with pwrite is in the view at once, without a system call to read it.
//
// Reading a page of the view that lies wholly past the file's end raises SIGBUS, so the owner
// must make sure that nobody cuts the file below the mapped length while the view exists.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/file.h"

namespace kiv {

class FileMap {
 public:
  FileMap() = default;
  FileMap(FileMap&& other) noexcept;
  FileMap& operator=(FileMap&& other) noexcept;
  FileMap(const FileMap&) = delete;
  FileMap& operator=(const FileMap&) = delete;
  ~FileMap();

  // Maps the first length bytes of the file (nothing for 0), with their pages already present.
  static FileMap Map(const File& file, int64_t length);

  int64_t Length() const { return length_; }
  // Copies n bytes at offset; false when the view does not reach that far.
  bool Copy(int64_t offset, void* out, size_t n) const;

 private:
  void Unmap();

  const uint8_t* data_ = nullptr;
  int64_t length_ = 0;
};

}  // namespace kiv
