// Adding one record to EVENTS: one INSERT, prepared once per connection, with every field bound.
#pragma once

#include <cstdint>

#include "kivdbxt/types.h"

namespace kiv {

namespace dao::detail {
struct Connection;
class Statement;
}  // namespace dao::detail

struct EventRow {
  int32_t unk;
  Date date;
  int32_t type;
  StringView category;
  int32_t id;
  StringView user;
  StringView computer;
  StringView source;
  StringView server;
  StringView raw_data;  // stored with its type letter, if any; empty is stored as Null
};

// Texts longer than their fields are cut to 255 characters; the raw data is stored as bytes, one
// per character (two, little-endian, when a character is above 255). Raises the DAO error of a
// failed write.
void InsertEvent(dao::detail::Connection& conn, const EventRow& row);
// The same INSERT with every field bound, not run (to go in a pipeline).
dao::detail::Statement& BoundInsert(dao::detail::Connection& conn, const EventRow& row);

}  // namespace kiv
