// Table-type navigation: the rows in the order of the current index (or of their row ids), each
// move one indexed lookup from the anchor's key, so that moving and seeking cost the same on a
// large table as on a small one.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "dao/navigator.h"

namespace kiv::dao::detail {

class TableNavigator : public Navigator {
 public:
  TableNavigator(Connection& conn, std::shared_ptr<const TableSchema> schema);

  // nullptr: the table's own order.
  void SetIndex(const IndexDef* index);
  // Seek on the current index: "=", ">=", ">", "<=", "<" with one value per leading key field.
  std::optional<int64_t> Seek(const std::string& op, const std::vector<Variant>& keys);

  std::optional<int64_t> First() override;
  std::optional<int64_t> Last() override;
  std::optional<int64_t> Next() override { return Step(true); }
  std::optional<int64_t> Prev() override { return Step(false); }
  bool MoveTo(int64_t rowid) override;
  int32_t Count() override;
  bool Empty() override { return Count() == 0; }
  bool LoadRow(int64_t rowid, RowData& row) override { return loader_.Load(rowid, row); }
  void FinishReads() override { loader_.CloseBlob(); }
  void Detach() override;

  RowLoader& Loader() { return loader_; }

 private:
  using Binder = std::function<void(Statement&, int)>;
  struct Condition {
    std::string sql;  // one "?" per binder
    std::vector<Binder> params;
  };
  std::optional<int64_t> Step(bool forward);
  std::optional<int64_t> Find(const std::vector<Condition>& conditions, bool forward);
  Statement& Prepared(const std::string& sql);
  const std::string& Key(size_t i);
  void WriteOrderTexts();

  Connection& conn_;
  std::shared_ptr<const TableSchema> schema_;
  RowLoader loader_;
  std::vector<int> key_columns_;
  std::vector<bool> descending_;
  // Written by WriteOrderTexts for the current index (none yet while select_ is empty): its key
  // fields quoted, the engine's name
  // of the row id, "SELECT <row id>, <keys> FROM <table>", and the order of a move backward [0]
  // and forward [1].
  std::vector<std::string> keys_;
  std::string rowid_, select_, order_by_[2];
  std::map<std::string, Statement> statements_;
  int64_t anchor_rowid_ = 0;
  std::vector<engine::Value> anchor_keys_;
};

}  // namespace kiv::dao::detail
