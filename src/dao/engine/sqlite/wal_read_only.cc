#include "dao/engine/sqlite/wal_read_only.h"

#include <sqlite3.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "dao/engine/engine.h"

namespace kiv::dao::engine::sqlite {
namespace {

bool Unreserved(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '/' ||
         c == '.' || c == '-' || c == '_' || c == '~';
}

// The size of a file, -1 when there is none.
int64_t SizeOf(const std::string& file) {
  std::error_code ec;
  const auto size = std::filesystem::file_size(std::filesystem::u8path(file), ec);
  return ec ? -1 : static_cast<int64_t>(size);
}

}  // namespace

bool ReadableOnlyAsUnchanging(int rc, const std::string& file) {
  const int64_t wal = SizeOf(file + "-wal");
  // Without the index SQLite cannot make, or with a WAL it cannot open for writing.
  const bool no_index = rc == SQLITE_READONLY_DIRECTORY || rc == SQLITE_READONLY_CANTINIT ||
                        ((rc & 0xff) == SQLITE_CANTOPEN && wal >= 0);
  if (!no_index) return false;
  if (wal > 0) throw EngineError(Failure::kUnreadableWal, "the WAL holds commits");
  return true;
}

std::string UnchangingUri(const std::string& path) {
  // An absolute path gets an empty authority, so that a path starting with "//" stays a path.
  std::string uri = path.empty() || path[0] != '/' ? "file:" : "file://";
  for (unsigned char c : path) {
    if (Unreserved(c)) {
      uri += static_cast<char>(c);
    } else {
      char hex[4];
      std::snprintf(hex, sizeof hex, "%%%02X", c);
      uri += hex;
    }
  }
  return uri + "?immutable=1";
}

}  // namespace kiv::dao::engine::sqlite
