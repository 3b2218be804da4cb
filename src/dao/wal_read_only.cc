#include "dao/wal_read_only.h"

#include <sqlite3.h>

#include <cstdio>

#include "dao/dao_errors.h"
#include "platform/fs.h"

namespace kiv::dao::detail {
namespace {

bool Unreserved(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '/' ||
         c == '.' || c == '-' || c == '_' || c == '~';
}

}  // namespace

bool ReadableOnlyAsUnchanging(int rc, const String& file_name) {
  const String wal = file_name + u"-wal";
  // Without the index SQLite cannot make, or with a WAL it cannot open for writing.
  const bool no_index = rc == SQLITE_READONLY_DIRECTORY || rc == SQLITE_READONLY_CANTINIT ||
                        ((rc & 0xff) == SQLITE_CANTOPEN && FileExists(wal));
  if (!no_index) return false;
  if (FileExists(wal) && FileLength(wal) > 0) RaiseDao(kDaoCantOpen, file_name);
  return true;
}

std::string UnchangingUri(const String& file_name) {
  const std::string path = ToUtf8(file_name);
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

}  // namespace kiv::dao::detail
