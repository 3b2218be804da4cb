#include "dblog/log_schema.h"

#include "dao/connection.h"
#include "kivdbxt/dao.h"

namespace kiv {
namespace {

constexpr int32_t kTextAttributes = 34;  // variable-length, updatable
constexpr int32_t kTextSize = 255;

void AddText(dao::TableDef& td, const String& name) {
  auto f = td.CreateField(name, dao::dbText, kTextSize);
  f->Attributes(kTextAttributes);
  f->AllowZeroLength(true);
  td.Fields().Append(f);
}

void AddPlain(dao::TableDef& td, const String& name, int16_t type) {
  td.Fields().Append(td.CreateField(name, type));
}

void AddIndex(dao::TableDef& td, const String& name, int32_t field_attributes) {
  auto idx = td.CreateIndex(name);
  auto f = idx->CreateField(name);
  if (field_attributes) f->Attributes(field_attributes);
  idx->Fields().Append(f);
  idx->Primary(false);
  idx->Required(false);
  idx->Unique(false);
  td.Indexes().Append(idx);
}

}  // namespace

String DateOrder(dao::Database& db) {
  const dao::engine::Connection* engine = db.Connection()->Db();
  if (!engine->OwnCatalog()) return kDateIndex;
  return String(kDateIndex) + u", " + FromUtf8(engine->RowIdName());
}

std::shared_ptr<dao::Database> CreateLogDatabase(const String& file_name) {
  auto db = dao::DBEngine::ForThread()->CreateDatabase(file_name, kLogLocale, kLogFileVersion);

  auto parms = db->CreateTableDef(kParmsTable);
  AddText(*parms, u"KEY");
  AddText(*parms, u"VALUE");
  // KEY is not unique on purpose: ParmWrite keeps one row per key by seeking first.
  AddIndex(*parms, kKeyIndex, 2);

  auto events = db->CreateTableDef(kEventsTable);
  AddPlain(*events, u"DATE", dao::dbDate);
  AddPlain(*events, u"TYPE", dao::dbLong);
  AddText(*events, u"CATEGORY");
  AddPlain(*events, u"ID", dao::dbLong);
  AddPlain(*events, u"UNK", dao::dbLong);
  AddText(*events, u"USER");
  AddText(*events, u"COMPUTER");
  AddText(*events, u"SOURCE");
  AddText(*events, u"SERVER");
  auto raw = events->CreateField(u"RAWDATA", dao::dbLongBinary);
  raw->Attributes(kTextAttributes);
  events->Fields().Append(raw);
  AddIndex(*events, kDateIndex, 0);

  db->TableDefs().Append(parms);
  db->TableDefs().Append(events);
  return db;
}

}  // namespace kiv
