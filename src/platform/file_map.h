// A view of a file's first bytes, shared with every process that writes the file: what they
// write with pwrite is in the view at once, without a system call to read it, and what is stored
// through a writable view is at once what they read.
//
// A page of the view that lies wholly past the file's end has nothing behind it. When another
// program cuts the file under a view, the first touch of such a page does not kill the process:
// the page is replaced with zeros, the view counts as cut, and Copy, Store and StoreWhole report
// failure from then on. The owner maps the file again to see it as it now is.
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

  // Maps the first length bytes of the file (nothing for 0), with their pages already present;
  // `writable` for a file open for writing.
  static FileMap Map(const File& file, int64_t length, bool writable = false);

  // Maps for reading `length` bytes from the page that holds the byte at `from`, pages past the
  // file's end included: what others later write there is in the view. Nothing is mapped when
  // the system refuses, and on Windows, where a view past a file's end would make it grow.
  static FileMap MapWindow(const File& file, int64_t from, int64_t length);

  // Where the view begins in the file: Copy and Store count from there.
  int64_t Offset() const { return offset_; }
  int64_t Length() const { return length_; }
  // The mapped bytes (Length() of them): they change under the reader as other processes write.
  const uint8_t* Bytes() const { return data_; }
  bool IsMapped() const { return data_ != nullptr; }
  // Whether a cut of the file under the view is caught as above. Past a few thousand open views
  // one is not, and a view of a file that others may cut must then not be read.
  bool Guarded() const { return guard_ >= 0; }
  // Copies n bytes at offset; false when the view does not reach that far.
  bool Copy(int64_t offset, void* out, size_t n) const;
  // Stores n bytes at offset of a writable view; false when it does not reach that far.
  bool Store(int64_t offset, const void* in, size_t n);
  // Stores 32 or 64 bytes at an offset aligned to their size with a single instruction, so that
  // a process killed at any moment leaves all of them or none; false when the processor has no
  // such store or the view does not reach that far.
  bool StoreWhole(int64_t offset, const void* in, size_t n);
  // Whether a page of the view was found cut from the file: what was read through Bytes() since
  // the last look may be zeros instead of the file's bytes.
  bool Cut() const;

 private:
  void Unmap();

  uint8_t* data_ = nullptr;
  int64_t offset_ = 0;
  int64_t length_ = 0;
  bool writable_ = false;
  int guard_ = -1;  // the view's place among the guarded views; -1 when unguarded
};

}  // namespace kiv
