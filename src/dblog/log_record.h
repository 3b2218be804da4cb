// Moving one EVENTS row to and from a LOGRECORDTYPE.
#pragma once

#include "kivdbxt/constants.h"

namespace kiv {

namespace dao {
class Recordset;
}

// Reads the current row; RAWDATA comes back as text, one character per byte, type letter
// included. Raises on failure.
LOGRECORDTYPE ReadLogRecord(dao::Recordset& rs);
// Adds a row holding every field of the record unchanged. Raises on failure.
void AppendLogRecord(dao::Recordset& rs, const LOGRECORDTYPE& rec);

}  // namespace kiv
