// The text the model writes, as the server takes it: one statement at a time, with the
// parameter marks "?" and "?N" written "$N" and quoted names folded to lower case (the model
// keeps DAO's spelling in its own catalog).
#pragma once

#include <string>
#include <string_view>

namespace kiv::dao::engine::postgres {

struct ServerSql {
  std::string text;
  bool blank = false;      // only blanks or comments
  bool read_only = false;  // a query that changes nothing
};

// The first statement of `sql`; `used` receives the length of the text it took (through its ";").
ServerSql ToServerSql(std::string_view sql, size_t* used);
// A name quoted for the server: "name", inner quotes doubled.
std::string QuoteIdent(std::string_view name);
// The first double-quoted name in a server message (relation "events" does not exist).
std::string QuotedIn(const std::string& message);

}  // namespace kiv::dao::engine::postgres
