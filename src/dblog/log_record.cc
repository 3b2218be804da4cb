#include "dblog/log_record.h"

#include "frame/error.h"
#include "frame/guard.h"
#include "kivdbxt/dao.h"
#include "kivdbxt/error.h"
#include "kivdbxt/qv_db_xt_mod.h"
#include "platform/vb_convert.h"

namespace kiv {
namespace {

String TextOf(const Variant& v) { return v.IsNull() ? String() : CStr(v); }
int32_t LongOf(const Variant& v) { return v.IsNull() ? 0 : CLng(v); }

}  // namespace

LOGRECORDTYPE ReadLogRecord(dao::Recordset& rs) {
  LOGRECORDTYPE r;
  r.EvUnk = LongOf(rs.Fields()[u"UNK"]->Value());
  Variant date = rs.Fields()[u"DATE"]->Value();
  r.EvDate = date.IsNull() ? 0 : CDate(date);
  r.EvType = LongOf(rs.Fields()[u"TYPE"]->Value());
  r.EvCategory = TextOf(rs.Fields()[u"CATEGORY"]->Value());
  r.EvId = LongOf(rs.Fields()[u"ID"]->Value());
  r.EvUser = TextOf(rs.Fields()[u"USER"]->Value());
  r.EvComputer = TextOf(rs.Fields()[u"COMPUTER"]->Value());
  r.EvSource = TextOf(rs.Fields()[u"SOURCE"]->Value());
  r.EvServer = TextOf(rs.Fields()[u"SERVER"]->Value());
  auto raw = rs.Fields()[u"RAWDATA"];
  r.EvRawData = QvDbXtMod::Blob_2_Str(raw);
  if (r.EvRawData.empty() && Last_Error() != 0) RaiseRecorded();
  return r;
}

void AppendLogRecord(dao::Recordset& rs, const LOGRECORDTYPE& rec) {
  rs.AddNew();
  try {
    rs.Fields()[u"UNK"]->Value(Variant(rec.EvUnk));
    rs.Fields()[u"DATE"]->Value(Variant::FromDate(rec.EvDate));
    rs.Fields()[u"TYPE"]->Value(Variant(rec.EvType));
    rs.Fields()[u"CATEGORY"]->Value(Variant(rec.EvCategory));
    rs.Fields()[u"ID"]->Value(Variant(rec.EvId));
    rs.Fields()[u"USER"]->Value(Variant(rec.EvUser));
    rs.Fields()[u"COMPUTER"]->Value(Variant(rec.EvComputer));
    rs.Fields()[u"SOURCE"]->Value(Variant(rec.EvSource));
    rs.Fields()[u"SERVER"]->Value(Variant(rec.EvServer));
    auto raw = rs.Fields()[u"RAWDATA"];
    PassOn(QvDbXtMod::Str_2_Blob(raw, rec.EvRawData));
    rs.Update();
  } catch (...) {
    RunCleanup([&] { rs.CancelUpdate(); });
    throw;
  }
}

}  // namespace kiv
