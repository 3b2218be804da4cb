// A report on a server in one round trip.
//
// BEGIN, the writers' lock, a check, the record, the notice, LASTCHANGE and COMMIT go to the
// server as one pipeline and their answers come back together: the writers' lock is held for
// the server's work alone, not for round trips between statements. The check holds when the
// report has nothing to trim first (the case where the ordinary report is exactly these
// statements); when it does not, nothing is changed and the report goes the ordinary way, a
// statement at a time. A log that never trims needs no check.
#pragma once

#include <cstdint>

#include "dblog/log_insert.h"

namespace kiv {

namespace dao::engine {
class Pipeline;
}

// When a report trims the log first, by its wrapping policy.
struct TrimRule {
  enum class Kind { kNever, kCount, kAge };
  Kind kind = Kind::kNever;
  int64_t max_records = 0;  // kCount: a log holding this many is trimmed
  double keep_from = 0;     // kAge: a record dated before this may be trimmed
};

// True when the report was made through `pipeline` (new, of conn's engine); false when it is to
// be made the ordinary way (nothing changed). Raises the DAO error of a failure, rolled back.
bool ReportInOneTrip(dao::detail::Connection& conn, dao::engine::Pipeline& pipeline,
                     const EventRow& row, const TrimRule& trim);

}  // namespace kiv
