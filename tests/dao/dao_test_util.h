// Helpers of the database tests: a fresh folder per test, and the DAO error a call raises.
#pragma once

#include <string>

#include "kivdbxt/dao.h"
#include "kivdbxt/raised_error.h"
#include "support/raised.h"
#include "support/temp_dir.h"

namespace kivtest {

using TempFolder = TempDir;

inline std::shared_ptr<kiv::dao::DBEngine> Engine() { return kiv::dao::DBEngine::ForThread(); }

// A text field as the event log defines its text fields.
inline std::shared_ptr<kiv::dao::Field> TextField(kiv::dao::TableDef& t, const char16_t* name,
                                                  int32_t size = 255) {
  auto f = t.CreateField(name, kiv::dao::dbText, size);
  f->Attributes(34);
  f->AllowZeroLength(true);
  return f;
}

// Appends an index of `fields` ("A;-B" form) named `name` to a table being defined.
inline void AddIndex(kiv::dao::TableDef& t, const char16_t* name, const char16_t* fields) {
  auto index = t.CreateIndex(name);
  index->Fields(fields);
  t.Indexes().Append(index);
}

// A new database `name` with table T (WHO long, indexed; PAD memo).
inline std::shared_ptr<kiv::dao::Database> CountersDb(const kiv::String& name) {
  auto db = Engine()->CreateDatabase(name, kiv::dao::dbLangGeneral);
  auto t = db->CreateTableDef(u"T");
  t->Fields().Append(t->CreateField(u"WHO", kiv::dao::dbLong));
  t->Fields().Append(t->CreateField(u"PAD", kiv::dao::dbMemo));
  AddIndex(*t, u"WHO", u"WHO");
  db->TableDefs().Append(t);
  return db;
}

}  // namespace kivtest
