// KivLogFile: reading records (first, next, last, count, pages) and detecting changes.
#include "dblog/log_record.h"
#include "dblog/log_schema.h"
#include "frame/error.h"
#include "frame/guard.h"
#include "kivdbxt/dao.h"
#include "kivdbxt/kiv_log_file.h"
#include "kivdbxt/qv_db_xt_mod.h"
#include "platform/rt_errors.h"

namespace kiv {
namespace {

// The query both reads use. SubSet and OrderBy carry their own keywords; with a SubSet and no
// OrderBy the query has no ordering at all.
String Query(const String& SubSet, const String& OrderBy, const String& date_order = kDateIndex) {
  String q = String(u"select * from ") + kEventsTable;
  if (!SubSet.empty()) {
    q += u" " + SubSet;
    if (!OrderBy.empty()) q += u" " + OrderBy;
  } else {
    q += OrderBy.empty() ? u" order by " + date_order : u" " + OrderBy;
  }
  return q;
}

[[noreturn]] void RaiseUnknownFlags() {
  RaiseLibrary(u"Errore nel parametro Flags: operazione sconosciuta.");
}

// Positions the recordset for Flags; 1 when there is no record there, 0 otherwise. COUNT
// positions on the last row and gives the count in RecordPos.
int32_t Position(dao::Recordset& rs, int32_t Flags, int32_t& RecordPos, bool absolute_allowed) {
  switch (Flags) {
    case ELREF_FIRST:
      rs.MoveFirst();
      return 0;
    case ELREF_NEXT:
      rs.Move(RecordPos);
      if (rs.EOF_()) return 1;
      rs.MoveNext();
      if (rs.EOF_()) return 1;
      ++RecordPos;
      return 0;
    case ELREF_LAST:
    case ELREF_COUNT:
      rs.MoveLast();
      if (Flags == ELREF_COUNT) RecordPos = rs.RecordCount();
      return 0;
    case ELREF_ABSOLUTE:
      if (!absolute_allowed) RaiseUnknownFlags();
      rs.Move(RecordPos);
      return rs.EOF_() ? 1 : 0;
    default:
      RaiseUnknownFlags();
  }
}

}  // namespace

String KivLogFile::ReadEventLogQueryStr(int32_t, int32_t, const String& SubSet,
                                        const String& OrderBy) {
  return Guard(u"KivLogFile.ReadEventLogQueryStr", String(),
               [&] { return Query(SubSet, OrderBy); });
}

int32_t KivLogFile::ReadEventLog(int32_t Flags) {
  int32_t pos = 0;
  return ReadEventLog(Flags, pos);
}

int32_t KivLogFile::ReadQuery(int32_t Flags, int32_t& RecordPos, const String& SubSet,
                              const String& OrderBy, bool absolute_allowed,
                              const std::function<void(dao::Recordset&)>& read) {
  PassOn(OpenLog(false));
  auto rs = db_->OpenRecordset(Query(SubSet, OrderBy, DateOrder(*db_)), dao::dbOpenDynaset);
  struct Closer {
    std::shared_ptr<dao::Recordset>& rs;
    ~Closer() {
      RunCleanup([&] { QvDbXtMod::Close_Recordset(rs); });
    }
  } closer{rs};
  if (rs->BOF() || rs->EOF_()) return 1;
  const int32_t result = Position(*rs, Flags, RecordPos, absolute_allowed);
  if (result == 0 && Flags != ELREF_COUNT) read(*rs);
  return result;
}

int32_t KivLogFile::ReadEventLog(int32_t Flags, int32_t& RecordPos, const String& SubSet,
                                 const String& OrderBy) {
  return Guard(
      u"KivLogFile.ReadEventLog", -1,
      [&] {
        const int32_t result =
            ReadQuery(Flags, RecordPos, SubSet, OrderBy, false,
                      [&](dao::Recordset& rs) { PassOn(RecordRead(rs, record_)); });
        PassOn(CloseLog(false));
        return result;
      },
      [&] { CloseLog(false); });
}

int32_t KivLogFile::ReadEventLogEx(int32_t Flags, int32_t& RecordPos, const String& SubSet,
                                   const String& OrderBy, int32_t& MaxRecords) {
  auto read_block = [&](dao::Recordset& rs) {
    if (MaxRecords < 1) return;
    block_.assign(static_cast<size_t>(MaxRecords), LOGRECORDTYPE{});
    int32_t read = 0;
    for (; read < MaxRecords && !rs.EOF_(); ++read) {
      PassOn(RecordRead(rs, block_[static_cast<size_t>(read)]));
      rs.MoveNext();
      ++RecordPos;
    }
    MaxRecords = read;
  };
  return Guard(
      u"KivLogFile.ReadEventLogEx", -1,
      [&] {
        const int32_t result = ReadQuery(Flags, RecordPos, SubSet, OrderBy, true, read_block);
        PassOn(CloseLog(false));
        return result;
      },
      [&] { CloseLog(false); });
}

bool KivLogFile::RecordRead(dao::Recordset& rs, LOGRECORDTYPE& rec) {
  return Guard(u"KivLogFile.RecordRead", true, [&] {
    rec = ReadLogRecord(rs);
    return false;
  });
}

LOGRECORDTYPE KivLogFile::LogRecordEx(int32_t RecNum) const {
  return Guard(u"KivLogFile.LogRecordEx", LOGRECORDTYPE{}, [&] {
    if (RecNum < 1 || static_cast<size_t>(RecNum) > block_.size()) Raise(kErrSubscript);
    return block_[static_cast<size_t>(RecNum) - 1];
  });
}

int32_t KivLogFile::CheckEventLogChanges(int32_t& unk) {
  return Guard(u"KivLogFile.CheckEventLogChanges", -1, [&] {
    int32_t last = 0;
    PassOn(ParmRead(u"LASTCHANGE", last));
    const int32_t result = last == unk ? 0 : 1;
    unk = last;
    return result;
  });
}

}  // namespace kiv
