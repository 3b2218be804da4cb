// Writing one parameter of PARMS: the first row of the key (in the order of the KEY index, which
// ignores case) takes the value, as a seek on that index finds it; a key without a row gets one.
#pragma once

#include "kivdbxt/types.h"

namespace kiv {

namespace dao::detail {
struct Connection;
class Statement;
}  // namespace dao::detail

// Raises the DAO error of a failed write. Run it inside a transaction: the look-up and the
// addition must be one step for processes writing the same new key.
void WriteParm(dao::detail::Connection& conn, StringView key, StringView value);
// The UPDATE that gives the rows of `key` the value, bound and not run (to go in a pipeline): the
// whole of WriteParm when the key has exactly one row.
dao::detail::Statement& BoundParmUpdate(dao::detail::Connection& conn, StringView key,
                                        StringView value);

}  // namespace kiv
