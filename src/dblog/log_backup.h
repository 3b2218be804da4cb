// The backup log that purged records are copied into: another event log of the same kind,
// created (never overwriting) when missing, held open while a purge copies into it.
#pragma once

#include <memory>

#include "kivdbxt/constants.h"
#include "kivdbxt/types.h"

namespace kiv {

namespace dao {
class Database;
class Recordset;
}  // namespace dao

class BackupTarget {
 public:
  // Raises 20000 "Impossibile accedere/creare il file " + name when it cannot be reached.
  explicit BackupTarget(const String& file_name);
  ~BackupTarget();
  BackupTarget(const BackupTarget&) = delete;
  BackupTarget& operator=(const BackupTarget&) = delete;

  void Append(const LOGRECORDTYPE& rec);

 private:
  std::shared_ptr<dao::Database> db_;
  std::shared_ptr<dao::Recordset> events_;
};

}  // namespace kiv
