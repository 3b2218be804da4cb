// The state of one open recordset, shared by the Recordset object and the Field objects taken
// from it: position, current row, the pending AddNew or Edit, and the navigator that finds rows.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "dao/chunk_buffer.h"
#include "dao/connection.h"
#include "dao/navigator.h"
#include "dao/schema.h"

namespace kiv::dao::detail {

class TableNavigator;

struct RecordsetCore : ConnectionUser {
  // Where the recordset stands. Deleted: on a row that is gone (deleted here, or by another
  // process); moves go on from it. Nowhere: after a Seek that found nothing.
  enum class At { BOF, EOF_, Row, Deleted, Nowhere };

  struct Pending {
    bool set = false;
    Variant value;
    bool chunked = false;  // collected through AppendChunk
    ChunkBuffer chunks;
  };

  static std::shared_ptr<RecordsetCore> OpenTable(const std::shared_ptr<Connection>& conn,
                                                  StringView table, int32_t options);
  static std::shared_ptr<RecordsetCore> OpenQuery(const std::shared_ptr<Connection>& conn,
                                                  StringView sql, int32_t type, int32_t options);
  RecordsetCore(std::shared_ptr<Connection> conn, int32_t type);
  ~RecordsetCore() override;

  // 3420 once the recordset or its database is closed.
  void Check() const;
  void Close();

  void MoveFirst();
  void MoveLast();
  void MoveNext();
  void MovePrevious();
  void Move(int32_t rows);
  bool IsBOF();
  bool IsEOF();
  int32_t RecordCount();

  void SetIndex(StringView name);
  void Seek(const std::string& op, const std::vector<Variant>& keys);

  Variant GetBookmark() const;
  void SetBookmark(const Variant& bookmark);

  void AddNew();
  void Edit();
  void Update();
  void CancelUpdate();
  void Delete();

  Variant Value(int col);
  void SetValue(int col, const Variant& value);
  void AppendChunk(int col, const Variant& data);
  Variant GetChunk(int col, int64_t offset, int64_t size);
  int32_t FieldSize(int col);

  void FinishReads() override;
  void Detach() override;

  std::shared_ptr<Connection> conn;
  String name;
  int32_t type;
  bool updatable = false;
  std::shared_ptr<const TableSchema> schema;  // the base table, when there is one
  std::vector<ColumnDef> columns;             // the recordset's fields
  std::unique_ptr<Navigator> nav;
  TableNavigator* table_nav = nullptr;
  RowLoader* loader = nullptr;
  String index;
  At at = At::BOF;
  RowData row;
  bool no_match = false;
  int32_t edit_mode = 0;
  std::vector<Pending> pending;
  std::optional<int64_t> last_modified;
  bool closed = false;

 private:
  void Arrive(std::optional<int64_t> rowid, At otherwise);
  void DropEdit();
  void RequireRow() const;
  void RequireUpdatable() const;
  bool Empty();
  void Validate() const;
  int64_t WriteRow();
  Variant PendingValue(int col) const;
};

}  // namespace kiv::dao::detail
