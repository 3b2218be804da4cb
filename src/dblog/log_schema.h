// The database event log's file: its tables, fields, indexes and the names the code uses.
#pragma once

#include <memory>

#include "kivdbxt/types.h"

namespace kiv {

namespace dao {
class Database;
}

inline constexpr char16_t kEventsTable[] = u"EVENTS";
inline constexpr char16_t kParmsTable[] = u"PARMS";
inline constexpr char16_t kDateIndex[] = u"DATE";
inline constexpr char16_t kKeyIndex[] = u"KEY";
inline constexpr char16_t kLogLocale[] = u";LANGID=0x0409;CP=1252;COUNTRY=0";
inline constexpr int32_t kLogFileVersion = 32;  // the Jet 3.0 file version option
inline constexpr char16_t kSelfSource[] = u"KIVEVENTLOG";

// The ordering of records by date: on a server, records of one date follow in the order they came,
// as a file's index gives them.
String DateOrder(dao::Database& db);

// Creates the database file with PARMS and EVENTS, appended in that order.
std::shared_ptr<dao::Database> CreateLogDatabase(const String& file_name);

}  // namespace kiv
