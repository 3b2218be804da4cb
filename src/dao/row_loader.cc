#include "dao/row_loader.h"

#include "dao/dao_errors.h"
#include "dao/value_codec.h"
#include "kivdbxt/dao.h"

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
    load_ = Statement(conn_.Db(), sql + " FROM " + QuoteName(table_) + " WHERE " +
                                      conn_.Db()->RowIdName() + " = ?1");
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
        row.sizes[i] = load_.IsNull(static_cast<int>(i)) ? -1 : load_.Int(static_cast<int>(i));
      } else {
        row.values[i] = ReadStored(load_, static_cast<int>(i), columns_[i].type);
      }
    }
  }
  load_.Reset();
  return found;
}

Variant RowLoader::LoadLong(int64_t rowid, int col) {
  CloseBlob();
  Statement one(conn_.Db(), "SELECT " + QuoteName(columns_[col].name) + " FROM " +
                                QuoteName(table_) + " WHERE " + conn_.Db()->RowIdName() + " = ?1");
  one.BindInt(1, rowid);
  if (!one.Step()) RaiseDao(kDaoRecordDeleted);
  return ReadStored(one, 0, columns_[col].type);
}

void RowLoader::OpenBlob(int64_t rowid, int col, bool write) {
  CloseBlob();
  engine::Connection* db = conn_.Db();
  blob_ = EngineCall(
      db, [&] { return db->OpenBlob(Utf8(table_), Utf8(columns_[col].name), rowid, write); }, {},
      write);
  blob_rowid_ = rowid;
  blob_col_ = col;
}

std::vector<uint8_t> RowLoader::ReadChunk(int64_t rowid, int col, int64_t offset, int64_t size) {
  if (!blob_ || blob_rowid_ != rowid || blob_col_ != col) OpenBlob(rowid, col, false);
  const int64_t total = blob_->Size();
  std::vector<uint8_t> out;
  if (offset < total && size > 0) {
    out.resize(static_cast<size_t>(std::min(size, total - offset)));
    const int64_t n = static_cast<int64_t>(out.size());
    try {
      try {
        blob_->Read(out.data(), n, offset);
      } catch (const engine::EngineError& e) {
        if (e.failure != engine::Failure::kAborted) throw;
        OpenBlob(rowid, col, false);  // the row changed since the handle was opened
        blob_->Read(out.data(), n, offset);
      }
    } catch (const engine::EngineError& e) {
      CloseBlob();
      RaiseEngine(e, {}, false, FromUtf8(conn_.Db()->FileName()));
    }
  }
  if (offset + static_cast<int64_t>(out.size()) >= total) CloseBlob();
  return out;
}

void RowLoader::WriteChunks(int64_t rowid, int col, const ChunkBuffer& data) {
  OpenBlob(rowid, col, true);
  int64_t at = 0;
  for (const std::vector<uint8_t>& piece : data.Pieces()) {
    try {
      blob_->Write(piece.data(), static_cast<int64_t>(piece.size()), at);
    } catch (const engine::EngineError& e) {
      CloseBlob();
      RaiseEngine(e, {}, true, FromUtf8(conn_.Db()->FileName()));
    }
    at += static_cast<int64_t>(piece.size());
  }
  CloseBlob();
}

void RowLoader::CloseBlob() {
  blob_.reset();
  blob_col_ = -1;
}

void RowLoader::Detach() {
  CloseBlob();
  load_ = Statement();
}

}  // namespace kiv::dao::detail
