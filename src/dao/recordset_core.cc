#include "dao/recordset_core.h"

#include "dao/dao_errors.h"
#include "dao/query_navigator.h"
#include "dao/query_shape.h"
#include "dao/table_navigator.h"
#include "dao/value_codec.h"
#include "kivdbxt/dao.h"
#include "platform/text_codec.h"
#include "platform/text_compare.h"

namespace kiv::dao::detail {
namespace {

// True for the row id a server's tables carry as a column: "SELECT *" shows it there, and DAO
// never shows a row id.
bool IsHiddenRowId(Connection& conn, const std::string& column) {
  return conn.Db()->OwnCatalog() && column == conn.Db()->RowIdName();
}

// The keyset form of a one-table query: its row ids, with the columns it shows. nullopt when a
// result column is not a plain column of that table.
std::optional<Statement> KeysetStatement(Connection& conn, StringView sql,
                                         std::shared_ptr<const TableSchema>& schema,
                                         std::vector<ColumnDef>& columns) {
  const auto shape = SingleTableQuery(sql);
  if (!shape) return std::nullopt;
  const bool server = conn.Db()->OwnCatalog();
  // On a server, a table the model did not make has no row id, and a computed column (an
  // aggregate above all) cannot stand beside one: their queries are snapshots.
  schema = server ? conn.FindSchema(shape->table) : conn.Schema(shape->table);
  if (!schema || (server && shape->select_list.find(u'(') != String::npos)) return std::nullopt;
  const std::string keyset_sql = Utf8(u"SELECT " + FromUtf8(QuoteName(schema->name)) + u"." +
                                      FromUtf8(conn.Db()->RowIdName()) + u", " +
                                      shape->select_list + u" FROM " + shape->after_from);
  // Row ids only, but perhaps millions: read a block at a time as the recordset moves on.
  engine::Connection* db = conn.Db();
  Statement keyset(db,
                   EngineCall(
                       db, [&] { return db->PrepareInBlocks(keyset_sql); }, keyset_sql),
                   keyset_sql);
  if (!keyset.Valid()) RaiseDao(kDaoInvalidStatement);
  for (int i = 1; i < keyset.ColumnCount(); ++i) {
    std::string table, origin;
    const bool plain = keyset.Raw().ColumnOrigin(i, table, origin);
    if (plain && IsHiddenRowId(conn, origin)) continue;
    const int col = plain ? schema->Column(FromUtf8(origin)) : -1;
    if (col < 0 || !TextEquals(FromUtf8(table), schema->name)) return std::nullopt;
    columns.push_back(schema->columns[col]);
  }
  return keyset;
}

// The field definitions of a snapshot's result columns; `cols` receives the statement's column of
// each.
std::vector<ColumnDef> SnapshotColumns(Connection& conn, const Statement& statement,
                                       std::vector<int>& cols) {
  std::vector<ColumnDef> columns;
  for (int i = 0; i < statement.ColumnCount(); ++i) {
    ColumnDef column;
    column.type = kNaturalType;
    std::string table, origin;
    if (statement.Raw().ColumnOrigin(i, table, origin)) {
      if (IsHiddenRowId(conn, origin)) continue;
      auto schema = LoadSchema(conn, FromUtf8(table));
      const int col = schema ? schema->Column(FromUtf8(origin)) : -1;
      if (col >= 0) column = schema->columns[col];
    }
    column.name = FromUtf8(statement.Raw().ColumnName(i));
    columns.push_back(std::move(column));
    cols.push_back(i);
  }
  return columns;
}

std::vector<uint8_t> TextBytes(const Variant& value) {
  if (value.Type() == (vbArray | vbByte)) return value.Bytes();
  const String& s = value.StringValue();
  std::vector<uint8_t> out(s.size());
  for (size_t i = 0; i < s.size(); ++i) out[i] = static_cast<uint8_t>(s[i] & 0xff);
  return out;
}

std::vector<uint8_t> Slice(const std::vector<uint8_t>& bytes, int64_t offset, int64_t size) {
  if (offset >= static_cast<int64_t>(bytes.size())) return {};
  const int64_t n = std::min<int64_t>(size, static_cast<int64_t>(bytes.size()) - offset);
  return std::vector<uint8_t>(bytes.begin() + offset, bytes.begin() + offset + n);
}

}  // namespace

RecordsetCore::RecordsetCore(std::shared_ptr<Connection> conn_, int32_t type_)
    : conn(std::move(conn_)), type(type_) {
  conn->Register(this);
}

RecordsetCore::~RecordsetCore() {
  if (conn) conn->Unregister(this);
}

std::shared_ptr<RecordsetCore> RecordsetCore::OpenTable(const std::shared_ptr<Connection>& conn,
                                                        StringView table, int32_t options) {
  auto core = std::make_shared<RecordsetCore>(conn, dbOpenTable);
  core->schema = conn->Schema(table);
  core->name = core->schema->name;
  core->columns = core->schema->columns;
  auto nav = std::make_unique<TableNavigator>(*conn, core->schema);
  core->table_nav = nav.get();
  core->loader = &nav->Loader();
  core->nav = std::move(nav);
  core->updatable = !conn->read_only && !(options & dbReadOnly);
  core->MoveFirst();
  return core;
}

std::shared_ptr<RecordsetCore> RecordsetCore::OpenQuery(const std::shared_ptr<Connection>& conn,
                                                        StringView sql, int32_t type,
                                                        int32_t options) {
  auto core = std::make_shared<RecordsetCore>(conn, type);
  core->name = String(sql);
  std::vector<ColumnDef> columns;
  std::shared_ptr<const TableSchema> schema;
  if (auto keyset = KeysetStatement(*conn, sql, schema, columns)) {
    auto loader = std::make_unique<RowLoader>(*conn, schema->name, columns);
    core->loader = loader.get();
    core->nav = std::make_unique<QueryNavigator>(std::move(*keyset), std::move(loader));
    core->schema = schema;
    core->columns = std::move(columns);
    core->updatable = type == dbOpenDynaset && !conn->read_only && !(options & dbReadOnly);
  } else {
    Statement statement(conn->Db(), Utf8(sql));
    std::vector<int> cols;
    core->columns = SnapshotColumns(*conn, statement, cols);
    std::vector<int16_t> types;
    for (const ColumnDef& c : core->columns) types.push_back(c.type);
    core->nav =
        std::make_unique<QueryNavigator>(std::move(statement), std::move(types), std::move(cols));
  }
  core->MoveFirst();
  return core;
}

void RecordsetCore::Check() const {
  if (closed || !conn->IsOpen()) RaiseDao(kDaoObjectInvalid);
}

void RecordsetCore::Close() {
  Check();
  Detach();
  conn->Unregister(this);
}

void RecordsetCore::FinishReads() {
  if (nav) nav->FinishReads();
}

void RecordsetCore::Detach() {
  if (nav) nav->Detach();
  closed = true;
}

void RecordsetCore::DropEdit() {
  edit_mode = dbEditNone;
  pending.clear();
}

void RecordsetCore::Arrive(std::optional<int64_t> rowid, At otherwise) {
  if (!rowid) {
    at = otherwise;
    return;
  }
  at = nav->LoadRow(*rowid, row) ? At::Row : At::Deleted;
  row.rowid = *rowid;
}

void RecordsetCore::MoveFirst() {
  Check();
  DropEdit();
  Arrive(nav->First(), At::EOF_);
}

void RecordsetCore::MoveLast() {
  Check();
  DropEdit();
  Arrive(nav->Last(), At::BOF);
}

void RecordsetCore::MoveNext() {
  Check();
  DropEdit();
  if (at == At::EOF_ || at == At::Nowhere) RaiseDao(kDaoNoCurrentRecord);
  Arrive(at == At::BOF ? nav->First() : nav->Next(), At::EOF_);
}

void RecordsetCore::MovePrevious() {
  Check();
  DropEdit();
  if (at == At::BOF || at == At::Nowhere) RaiseDao(kDaoNoCurrentRecord);
  Arrive(at == At::EOF_ ? nav->Last() : nav->Prev(), At::BOF);
}

void RecordsetCore::Move(int32_t rows) {
  Check();
  if (rows == 0) {
    RequireRow();
    DropEdit();
    Arrive(row.rowid, At::EOF_);
    return;
  }
  if ((rows > 0 && at == At::EOF_) || (rows < 0 && at == At::BOF)) {
    RaiseDao(kDaoNoCurrentRecord);
  }
  for (int32_t i = 0; i < std::abs(rows); ++i) {
    if (rows > 0) {
      MoveNext();
      if (at == At::EOF_) break;
    } else {
      MovePrevious();
      if (at == At::BOF) break;
    }
  }
}

bool RecordsetCore::Empty() { return nav->Empty(); }

bool RecordsetCore::IsBOF() {
  Check();
  return at == At::BOF || (at == At::EOF_ && Empty());
}

bool RecordsetCore::IsEOF() {
  Check();
  return at == At::EOF_ || (at == At::BOF && Empty());
}

int32_t RecordsetCore::RecordCount() {
  Check();
  return nav->Count();
}

void RecordsetCore::SetIndex(StringView new_index) {
  Check();
  if (!table_nav) RaiseDao(kDaoNotSupported);
  const IndexDef* def = nullptr;
  if (!new_index.empty()) {
    def = schema->Index(new_index);
    if (!def) {
      // The schema may have changed since the recordset was opened.
      schema = conn->Schema(schema->name);
      def = schema->Index(new_index);
    }
    if (!def) RaiseDao(kDaoNotAnIndex, new_index);
  }
  table_nav->SetIndex(def);
  index = def ? def->name : String();
  MoveFirst();
}

void RecordsetCore::Seek(const std::string& op, const std::vector<Variant>& keys) {
  Check();
  if (!table_nav) RaiseDao(kDaoNotSupported);
  if (index.empty()) RaiseDao(kDaoNoCurrentIndex);
  DropEdit();
  const auto found = table_nav->Seek(op, keys);
  no_match = !found;
  if (found) {
    Arrive(found, At::EOF_);
  } else {
    at = At::Nowhere;
  }
}

Variant RecordsetCore::GetBookmark() const {
  Check();
  RequireRow();
  std::vector<uint8_t> bytes(8);
  for (int i = 0; i < 8; ++i)
    bytes[i] = static_cast<uint8_t>(static_cast<uint64_t>(row.rowid) >> (8 * i));
  return Variant(std::move(bytes));
}

void RecordsetCore::SetBookmark(const Variant& bookmark) {
  Check();
  if (bookmark.Type() != (vbArray | vbByte) || bookmark.Bytes().size() != 8) {
    RaiseDao(kDaoInvalidBookmark);
  }
  uint64_t id = 0;
  for (int i = 0; i < 8; ++i) id |= static_cast<uint64_t>(bookmark.Bytes()[i]) << (8 * i);
  DropEdit();
  if (!nav->MoveTo(static_cast<int64_t>(id))) RaiseDao(kDaoRecordDeleted);
  Arrive(static_cast<int64_t>(id), At::EOF_);
  if (at == At::Deleted) RaiseDao(kDaoRecordDeleted);
}

void RecordsetCore::RequireRow() const {
  if (at == At::Deleted) RaiseDao(kDaoRecordDeleted);
  if (at != At::Row) RaiseDao(kDaoNoCurrentRecord);
}

void RecordsetCore::RequireUpdatable() const {
  if (!updatable || !loader) RaiseDao(kDaoReadOnly);
}

void RecordsetCore::AddNew() {
  Check();
  RequireUpdatable();
  DropEdit();
  edit_mode = dbEditAdd;
  pending.assign(columns.size(), Pending{});
}

void RecordsetCore::Edit() {
  Check();
  RequireUpdatable();
  RequireRow();
  DropEdit();
  edit_mode = dbEditInProgress;
  pending.assign(columns.size(), Pending{});
}

void RecordsetCore::CancelUpdate() {
  Check();
  if (edit_mode == dbEditNone) RaiseDao(kDaoUpdateWithoutEdit);
  DropEdit();
}

// DAO's checks of a record before it is saved: required fields, zero-length strings and the
// keys of required indexes. A field an Edit leaves alone keeps its value and is not checked.
void RecordsetCore::Validate() const {
  auto unchecked = [&](int col) { return edit_mode == dbEditInProgress && !pending[col].set; };
  auto is_null = [&](int col) {
    const Pending& p = pending[col];
    return p.set ? !p.chunked && p.value.IsNull() : edit_mode == dbEditAdd;
  };
  for (size_t i = 0; i < columns.size(); ++i) {
    const int col = static_cast<int>(i);
    const ColumnDef& c = columns[i];
    if (unchecked(col)) continue;
    if (c.required && is_null(col)) RaiseDao(kDaoRequired, schema->name + u"." + c.name);
    const Pending& p = pending[i];
    if (p.set && !p.chunked && !c.allow_zero_length && IsTextType(c.type) &&
        p.value.Type() == vbString && p.value.StringValue().empty()) {
      RaiseDao(kDaoZeroLength, schema->name + u"." + c.name);
    }
  }
  for (const IndexDef& def : schema->indexes) {
    if (!def.required) continue;
    for (const IndexKey& key : def.keys) {
      for (size_t i = 0; i < columns.size(); ++i) {
        const int col = static_cast<int>(i);
        if (TextEquals(columns[i].name, key.field) && !unchecked(col) && is_null(col)) {
          RaiseDao(kDaoIndexNull);
        }
      }
    }
  }
}

// Writes the pending record: one INSERT or UPDATE, then the collected chunk values straight into
// their blobs, all in one savepoint.
int64_t RecordsetCore::WriteRow() {
  std::vector<int> cols;
  for (size_t i = 0; i < pending.size(); ++i) {
    if (pending[i].set) cols.push_back(static_cast<int>(i));
  }
  const std::string table = QuoteName(schema->name);
  std::string sql;
  if (edit_mode == dbEditAdd) {
    if (cols.empty()) {
      sql = "INSERT INTO " + table + " DEFAULT VALUES";
    } else {
      std::string names, marks;
      for (size_t k = 0; k < cols.size(); ++k) {
        names += (k ? ", " : "") + QuoteName(columns[cols[k]].name);
        marks += k ? ", ?" : "?";
      }
      sql = "INSERT INTO " + table + " (" + names + ") VALUES (" + marks + ")";
    }
    // A server gives the new row's id with the insert: no second call for it.
    if (conn->Db()->OwnCatalog()) sql += std::string(" RETURNING ") + conn->Db()->RowIdName();
  } else {
    if (cols.empty()) return row.rowid;
    sql = "UPDATE " + table + " SET ";
    for (size_t k = 0; k < cols.size(); ++k) {
      sql += (k ? ", " : "") + QuoteName(columns[cols[k]].name) + " = ?";
    }
    sql += std::string(" WHERE ") + conn->Db()->RowIdName() + " = ?";
  }
  Statement& write = conn->Prepared(sql);
  const bool in_place = conn->Db()->BlobsWrittenInPlace();
  for (size_t k = 0; k < cols.size(); ++k) {
    const Pending& p = pending[cols[k]];
    const int16_t t = columns[cols[k]].type;
    if (!p.chunked) {
      BindStored(write, static_cast<int>(k + 1), t, p.value);
    } else if (t == dbMemo) {
      BindStored(write, static_cast<int>(k + 1), t, Variant(BytesToString(p.chunks.All())));
    } else if (!in_place) {
      const std::vector<uint8_t> all = p.chunks.All();
      write.BindBlob(static_cast<int>(k + 1), all.data(), all.size());
    } else {
      write.BindZeroBlob(static_cast<int>(k + 1), static_cast<int64_t>(p.chunks.Size()));
    }
  }
  if (edit_mode != dbEditAdd) write.BindInt(static_cast<int>(cols.size() + 1), row.rowid);
  const bool returning = edit_mode == dbEditAdd && conn->Db()->OwnCatalog();
  const int64_t returned = returning ? write.RunReturning() : (write.Run(), 0);
  const int64_t rowid = edit_mode != dbEditAdd ? row.rowid
                        : returning            ? returned
                                               : conn->Db()->LastInsertId();
  for (int c : cols) {
    const Pending& p = pending[c];
    if (in_place && p.chunked && columns[c].type != dbMemo && p.chunks.Size() > 0) {
      loader->WriteChunks(rowid, c, p.chunks);
    }
  }
  return rowid;
}

void RecordsetCore::Update() {
  Check();
  if (edit_mode == dbEditNone) RaiseDao(kDaoUpdateWithoutEdit);
  Validate();
  conn->BeforeWrite();
  WriteTransaction tx(*conn, "kiv_update");
  const int64_t rowid = WriteRow();
  tx.Commit();
  last_modified = rowid;
  if (edit_mode == dbEditAdd) {
    nav->Added(rowid);
  } else if (nav->MoveTo(rowid)) {
    Arrive(rowid, At::EOF_);  // the row's new values, and its new place if its key changed
  }
  DropEdit();
}

void RecordsetCore::Delete() {
  Check();
  RequireUpdatable();
  RequireRow();
  DropEdit();
  conn->BeforeWrite();
  Statement& del = conn->Prepared("DELETE FROM " + QuoteName(schema->name) + " WHERE " +
                                  conn->Db()->RowIdName() + " = ?1");
  del.BindInt(1, row.rowid);
  del.Run();
  nav->Deleted();
  at = At::Deleted;
}

Variant RecordsetCore::PendingValue(int col) const {
  const Pending& p = pending[col];
  if (!p.chunked) return p.value;
  if (columns[col].type == dbMemo) return Variant(BytesToString(p.chunks.All()));
  return Variant(p.chunks.All());
}

Variant RecordsetCore::Value(int col) {
  Check();
  if (edit_mode != dbEditNone && pending[col].set) return PendingValue(col);
  if (edit_mode == dbEditAdd) return Variant::Null();
  RequireRow();
  if (!row.loaded[col]) {
    if (row.sizes[col] < 0) return Variant::Null();
    return loader->LoadLong(row.rowid, col);
  }
  return row.values[col];
}

void RecordsetCore::SetValue(int col, const Variant& value) {
  Check();
  if (edit_mode == dbEditNone) RaiseDao(kDaoUpdateWithoutEdit);
  Pending& p = pending[col];
  p.value = CoerceToField(columns[col], value);
  p.set = true;
  p.chunked = false;
  p.chunks = ChunkBuffer();
}

void RecordsetCore::AppendChunk(int col, const Variant& data) {
  Check();
  if (!IsLongType(columns[col].type)) RaiseDao(kDaoInvalidFieldType);
  if (edit_mode == dbEditNone) RaiseDao(kDaoUpdateWithoutEdit);
  const std::vector<uint8_t> bytes = ChunkBytes(data);
  Pending& p = pending[col];
  if (!p.chunked) {  // the first chunk of an AddNew or Edit replaces the value
    p = Pending{};
    p.set = true;
    p.chunked = true;
  }
  p.chunks.Append(bytes.data(), bytes.size());
}

Variant RecordsetCore::GetChunk(int col, int64_t offset, int64_t size) {
  Check();
  if (offset < 0 || size < 0) RaiseDao(kDaoInvalidArgument);
  if (!IsLongType(columns[col].type) && columns[col].type != kNaturalType) {
    RaiseDao(kDaoInvalidFieldType);
  }
  if (edit_mode != dbEditNone && pending[col].set) {
    const Pending& p = pending[col];
    if (p.chunked)
      return Variant(p.chunks.Read(static_cast<size_t>(offset), static_cast<size_t>(size)));
    if (p.value.IsNull()) return Variant::Null();
    return Variant(Slice(TextBytes(p.value), offset, size));
  }
  if (edit_mode == dbEditAdd) return Variant::Null();
  RequireRow();
  if (!row.loaded[col]) {
    if (row.sizes[col] < 0) return Variant::Null();
    return Variant(loader->ReadChunk(row.rowid, col, offset, size));
  }
  const Variant& value = row.values[col];
  if (value.IsNull()) return Variant::Null();
  return Variant(Slice(TextBytes(value), offset, size));
}

int32_t RecordsetCore::FieldSize(int col) {
  Check();
  const int16_t t = columns[col].type;
  if (edit_mode != dbEditNone && pending[col].set) {
    const Pending& p = pending[col];
    if (p.chunked) return static_cast<int32_t>(p.chunks.Size());
    if (p.value.IsNull()) return 0;
    return static_cast<int32_t>(TextBytes(p.value).size());
  }
  if (edit_mode == dbEditAdd) return 0;
  RequireRow();
  if (!row.loaded[col]) return static_cast<int32_t>(std::max<int64_t>(row.sizes[col], 0));
  const Variant& value = row.values[col];
  if (value.IsNull()) return 0;
  if (value.Type() == vbString || value.Type() == (vbArray | vbByte)) {
    return static_cast<int32_t>(value.Type() == vbString ? value.StringValue().size()
                                                         : value.Bytes().size());
  }
  return TypeSize(t, columns[col].size);
}

}  // namespace kiv::dao::detail
