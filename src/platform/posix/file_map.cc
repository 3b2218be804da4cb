// Views of files through mmap.
#include "platform/file_map.h"

#include <sys/mman.h>

#include <cerrno>

#include "frame/error.h"

namespace kiv {

void FileMap::Unmap() {
  if (data_) ::munmap(data_, static_cast<size_t>(length_));
  data_ = nullptr;
  length_ = 0;
  writable_ = false;
}

FileMap FileMap::Map(const File& file, int64_t length, bool writable) {
  FileMap map;
  if (length <= 0) return map;
  const int protection = writable ? PROT_READ | PROT_WRITE : PROT_READ;
  void* p = ::mmap(nullptr, static_cast<size_t>(length), protection, MAP_SHARED | MAP_POPULATE,
                   file.fd_, 0);
  if (p == MAP_FAILED) RaiseErrno(errno);
  map.data_ = static_cast<uint8_t*>(p);
  map.length_ = length;
  map.writable_ = writable;
  return map;
}

}  // namespace kiv
