// Recognises a query that reads one table's columns ("SELECT * FROM EVENTS WHERE ... ORDER BY
// DATE"), which a dynaset can read as a keyset of that table's row ids.
#pragma once

#include <optional>

#include "kivdbxt/types.h"

namespace kiv::dao::detail {

struct QueryShape {
  String table;        // unquoted
  String select_list;  // between SELECT and FROM, as written
  String after_from;   // everything after FROM, as written
};

// nullopt for anything but a plain SELECT on one table (joins, DISTINCT, GROUP BY, unions ...).
std::optional<QueryShape> SingleTableQuery(StringView sql);

}  // namespace kiv::dao::detail
