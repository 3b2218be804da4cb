// Views of files through file mappings. While a view exists Windows refuses to cut the file
// below it (ERROR_USER_MAPPED_FILE), which is the guarantee the POSIX side asks its owners for.
#include "platform/file_map.h"

#include <windows.h>

#include "frame/error.h"
#include "platform/win32/win_error.h"

namespace kiv {

void FileMap::Unmap() {
  if (data_) UnmapViewOfFile(data_);
  data_ = nullptr;
  offset_ = 0;
  length_ = 0;
  writable_ = false;
}

FileMap FileMap::Map(const File& file, int64_t length, bool writable) {
  FileMap map;
  if (length <= 0) return map;
  // A mapping of the file's present size: a larger one would make a writable file grow.
  const int64_t present = file.Size();
  if (present <= 0) return map;
  if (length > present) length = present;
  // The mapping covers only the view: the file may still be cut down to its end.
  const uint64_t size = static_cast<uint64_t>(length);
  HANDLE mapping = CreateFileMappingW(
      static_cast<HANDLE>(file.handle_), nullptr, writable ? PAGE_READWRITE : PAGE_READONLY,
      static_cast<DWORD>(size >> 32), static_cast<DWORD>(size), nullptr);
  if (!mapping) RaiseWinError(GetLastError());
  void* p = MapViewOfFile(mapping, writable ? FILE_MAP_WRITE : FILE_MAP_READ, 0, 0,
                          static_cast<SIZE_T>(length));
  const DWORD err = GetLastError();
  CloseHandle(mapping);  // the view keeps the mapping alive
  if (!p) RaiseWinError(err);
  map.data_ = static_cast<uint8_t*>(p);
  map.length_ = length;
  map.writable_ = writable;
  return map;
}

// A view past the file's end would make the file grow: callers look at the file instead.
FileMap FileMap::MapWindow(const File&, int64_t, int64_t) { return FileMap(); }

// Windows refuses to cut a file below a view of it, so no view is ever found cut.
bool FileMap::Cut() const { return false; }

}  // namespace kiv
