// How a recordset finds its rows: in a table's index order (table type) or in the order of a
// query's results (dynaset, snapshot). A navigator keeps an anchor, the row reached last, and
// moves relative to it; the anchor stays usable after its row is deleted.
#pragma once

#include <cstdint>
#include <optional>

#include "dao/row_loader.h"

namespace kiv::dao::detail {

class Navigator {
 public:
  virtual ~Navigator() = default;
  // Each move answers the row id reached, or nullopt when there is no row that way.
  virtual std::optional<int64_t> First() = 0;
  virtual std::optional<int64_t> Last() = 0;
  virtual std::optional<int64_t> Next() = 0;
  virtual std::optional<int64_t> Prev() = 0;
  // Makes a row the anchor; false when it is not (or no longer) one of the recordset's rows.
  virtual bool MoveTo(int64_t rowid) = 0;
  virtual int32_t Count() = 0;
  virtual bool Empty() = 0;
  virtual bool LoadRow(int64_t rowid, RowData& row) = 0;
  // The anchor row was deleted through this recordset.
  virtual void Deleted() {}
  // A row was added through this recordset.
  virtual void Added(int64_t /*rowid*/) {}
  // Finishes any statement still reading, before the connection writes.
  virtual void FinishReads() = 0;
  virtual void Detach() = 0;
};

}  // namespace kiv::dao::detail
