#include "dao/row_loader.h"

#include "kivdbxt/dao.h"
#include "dao/dao_errors.h"
#include "dao/value_codec.h"

namespace kiv::dao::detail {

RowLoader::RowLoader(Connection& conn, String table, std::vector<ColumnDef> columns)
    : conn_(conn), table_(std::move(table)), columns_(std::move(columns)) {}

RowLoader::~RowLoader() { CloseBlob(); }

bool RowLoader::Load(int64_t rowid, RowData& row) {
  if (!load_.Valid()) {
    std::string sql = "SELECT ";
    for (size_t i = 0; i < columns_.size(); ++i) {
      const std::string name = QuoteName(columns_[i].name);
      sql += (i ? ", " : "") + (columns_[i].type == dbLongBinary ? "length(" + name + ")" : name);
    }
    load_ = Statement(conn_.Db(), sql + " FROM " + QuoteName(table_) + " WHERE rowid = ?1");
  }
  conn_.Db();
  load_.BindInt(1, rowid);
  const bool found = load_.Step();
  if (found) {
    const size_t n = columns_.size();
    row.rowid = rowid;
    row.values.assign(n, Variant());
    row.sizes.assign(n, 0);
    row.loaded.assign(n, true);
    for (size_t i = 0; i < n; ++i) {
      if (columns_[i].type == dbLongBinary) {
        row.loaded[i] = false;
        row.sizes[i] = load_.ColumnType(static_cast<int>(i)) == SQLITE_NULL
                           ? -1
                           : load_.Int(static_cast<int>(i));
      } else {
        row.values[i] = ReadStored(load_.Value(static_cast<int>(i)), columns_[i].type);
      }
    }
  }
  load_.Reset();
  return found;
}

Variant RowLoader::LoadLong(int64_t rowid, int col) {
  CloseBlob();
  Statement one(conn_.Db(), "SELECT " + QuoteName(columns_[col].name) + " FROM " +
                                QuoteName(table_) + " WHERE rowid = ?1");
  one.BindInt(1, rowid);
  if (!one.Step()) RaiseDao(kDaoRecordDeleted);
  return ReadStored(one.Value(0), columns_[col].type);
}

void RowLoader::OpenBlob(int64_t rowid, int col, bool write) {
  CloseBlob();
  const int rc = sqlite3_blob_open(conn_.Db(), "main", Utf8(table_).c_str(),
                                   Utf8(columns_[col].name).c_str(), rowid, write ? 1 : 0, &blob_);
  if (rc != SQLITE_OK) {
    sqlite3_blob_close(blob_);
    blob_ = nullptr;
    RaiseSqlite(conn_.db, rc, {}, write);
  }
  blob_rowid_ = rowid;
  blob_col_ = col;
}

std::vector<uint8_t> RowLoader::ReadChunk(int64_t rowid, int col, int64_t offset, int64_t size) {
  if (!blob_ || blob_rowid_ != rowid || blob_col_ != col) OpenBlob(rowid, col, false);
  const int64_t total = sqlite3_blob_bytes(blob_);
  std::vector<uint8_t> out;
  if (offset < total && size > 0) {
    out.resize(static_cast<size_t>(std::min(size, total - offset)));
    int rc = sqlite3_blob_read(blob_, out.data(), static_cast<int>(out.size()),
                               static_cast<int>(offset));
    if (rc == SQLITE_ABORT) {  // the row changed since the handle was opened
      OpenBlob(rowid, col, false);
      rc = sqlite3_blob_read(blob_, out.data(), static_cast<int>(out.size()),
                             static_cast<int>(offset));
    }
    if (rc != SQLITE_OK) {
      CloseBlob();
      RaiseSqlite(conn_.db, rc);
    }
  }
  if (offset + static_cast<int64_t>(out.size()) >= total) CloseBlob();
  return out;
}

void RowLoader::WriteChunks(int64_t rowid, int col, const ChunkBuffer& data) {
  OpenBlob(rowid, col, true);
  int64_t at = 0;
  for (const std::vector<uint8_t>& piece : data.Pieces()) {
    const int rc = sqlite3_blob_write(blob_, piece.data(), static_cast<int>(piece.size()),
                                      static_cast<int>(at));
    if (rc != SQLITE_OK) {
      CloseBlob();
      RaiseSqlite(conn_.db, rc, {}, true);
    }
    at += static_cast<int64_t>(piece.size());
  }
  CloseBlob();
}

void RowLoader::CloseBlob() {
  if (blob_) sqlite3_blob_close(blob_);
  blob_ = nullptr;
  blob_col_ = -1;
}

void RowLoader::Detach() {
  CloseBlob();
  load_ = Statement();
}

}  // namespace kiv::dao::detail
