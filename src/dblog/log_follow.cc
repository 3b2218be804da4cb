// KivLogFile: following a log as other processes report into it: waiting for a change, and
// reading on from the last record seen.
#include <algorithm>
#include <chrono>
#include <thread>

#include "dao/connection.h"
#include "dblog/log_schema.h"
#include "dblog/log_transaction.h"
#include "frame/guard.h"
#include "kivdbxt/dao.h"
#include "kivdbxt/kiv_log_file.h"
#include "kivdbxt/qv_db_xt_mod.h"
#include "platform/clock.h"

namespace kiv {
namespace {

// How often a wait on a file looks at LASTCHANGE; how long a wait on a server trusts its notices
// before it looks again anyway.
constexpr int32_t kPollMs = 20;
constexpr int32_t kSafetyMs = 1000;

String Text(int64_t n) { return FromUtf8(std::to_string(n)); }

// The column of a block's query that holds each record's row id.
constexpr char16_t kAfterId[] = u"kiv_after";

int64_t IdOf(dao::Recordset& rs) {
  return static_cast<int64_t>(rs.Fields()[kAfterId]->Value().ToDouble().value_or(0));
}

}  // namespace

int32_t KivLogFile::WaitEventLogChanges(int32_t TimeoutMs, int32_t& unk) {
  bool holding = false;  // the log stays open, and listening, for the whole wait
  auto release = [&] {
    if (holding) in_use_.Step(false);
    holding = false;
  };
  return Guard(
      u"KivLogFile.WaitEventLogChanges", -1,
      [&] {
        PassOn(OpenLog(false));
        in_use_.Step(true);
        holding = true;
        dao::engine::Connection* db = db_->Connection()->Db();
        dao::engine::Notifier* notices = db->Notices();
        // Listening before the check: a commit after it is heard.
        if (notices) {
          dao::detail::EngineCall(db, [&] { notices->Listen(kLogChannel); });
        }
        const uint32_t start = TickCount();
        int32_t result = 0;
        for (;;) {
          const int32_t rc = CheckEventLogChanges(unk);
          PassOn(rc < 0);
          if (rc == 1 || (followed_id_ >= 0 && NewestId() > followed_id_)) {
            result = 1;
            break;
          }
          const int32_t left = TimeoutMs - static_cast<int32_t>(TickCount() - start);
          if (left <= 0) break;
          if (notices) {
            // A notice, or the safety re-check of LASTCHANGE after kSafetyMs.
            dao::detail::EngineCall(db, [&] { notices->Wait(std::min(left, kSafetyMs)); });
          } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(std::min(left, kPollMs)));
          }
        }
        release();
        PassOn(CloseLog(false));
        return result;
      },
      [&] {
        release();
        CloseLog(false);
      });
}

int64_t KivLogFile::NewestId() {
  const String id = FromUtf8(db_->Connection()->Db()->RowIdName());
  auto rs =
      db_->OpenRecordset(u"select max(" + id + u") from " + kEventsTable, dao::dbOpenSnapshot);
  const Variant v = rs->Fields().Item(0)->Value();
  rs->Close();
  return v.IsNull() ? int64_t{0} : static_cast<int64_t>(v.ToDouble().value_or(0));
}

int32_t KivLogFile::ReadEventLogAfter(int64_t& LastId, int32_t& MaxRecords) {
  return Guard(
      u"KivLogFile.ReadEventLogAfter", -1,
      [&] {
        PassOn(OpenLog(false));
        const String id = FromUtf8(db_->Connection()->Db()->RowIdName());
        int32_t result = 1;
        if (LastId < 0) {
          LastId = NewestId();
          MaxRecords = 0;
        } else {
          // One block in one query: the id as a computed column makes the query a snapshot of
          // its values, not a keyset whose rows are read one at a time (a round trip each on a
          // server, and a follower must keep up with every reporter at once).
          auto after = [&](int64_t from) {
            return db_->OpenRecordset(u"select " + id + u" + 0 as " + kAfterId + u", * from " +
                                          kEventsTable + u" where " + id + u" > " + Text(from) +
                                          u" order by " + id + u" limit " +
                                          Text(std::max(MaxRecords, 0)),
                                      dao::dbOpenSnapshot);
          };
          auto rs = after(LastId);
          if (rs->EOF_() && NewestId() < LastId) {  // emptied: its ids started again
            rs->Close();
            rs = after(0);
          }
          block_.clear();
          for (; static_cast<int32_t>(block_.size()) < MaxRecords && !rs->EOF_(); rs->MoveNext()) {
            LOGRECORDTYPE rec;
            PassOn(RecordRead(*rs, rec));
            block_.push_back(rec);
            LastId = IdOf(*rs);
          }
          rs->Close();
          MaxRecords = static_cast<int32_t>(block_.size());
          result = block_.empty() ? 1 : 0;
        }
        followed_id_ = LastId;
        PassOn(CloseLog(false));
        return result;
      },
      [&] { CloseLog(false); });
}

}  // namespace kiv
