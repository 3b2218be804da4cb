// Reads the rows of one table by row id: ordinary columns at once, long binary ones only when
// asked for, and long binary data in slices through a blob handle.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dao/chunk_buffer.h"
#include "dao/connection.h"
#include "dao/schema.h"
#include "kivdbxt/variant.h"

namespace kiv::dao::detail {

struct RowData {
  int64_t rowid = 0;
  std::vector<Variant> values;  // a long binary column stays Empty until it is read
  std::vector<int64_t> sizes;   // long binary columns: stored bytes, -1 for Null
  std::vector<bool> loaded;
};

class RowLoader {
 public:
  RowLoader(Connection& conn, String table, std::vector<ColumnDef> columns);
  ~RowLoader();
  RowLoader(const RowLoader&) = delete;
  RowLoader& operator=(const RowLoader&) = delete;

  // False when the row no longer exists.
  bool Load(int64_t rowid, RowData& row);
  // The whole value of a long binary column.
  Variant LoadLong(int64_t rowid, int col);
  // Up to size bytes from offset of a stored long binary value. The handle stays open while the
  // value is read in order, so that reading it all in slices is linear.
  std::vector<uint8_t> ReadChunk(int64_t rowid, int col, int64_t offset, int64_t size);
  // Closes the blob handle: it holds a read lock on the file.
  void CloseBlob();
  // Writes a collected value into a column sized for it with zeroblob().
  void WriteChunks(int64_t rowid, int col, const ChunkBuffer& data);
  void Detach();

 private:
  void OpenBlob(int64_t rowid, int col, bool write);

  Connection& conn_;
  String table_;
  std::vector<ColumnDef> columns_;
  Statement load_;
  std::unique_ptr<engine::Blob> blob_;
  int64_t blob_rowid_ = 0;
  int blob_col_ = -1;
};

}  // namespace kiv::dao::detail
