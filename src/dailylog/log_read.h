// The one routine behind the four read operations of KivLog.
#pragma once

#include <cstdint>
#include <memory>

#include "kivdbxt/kiv_log_filter.h"
#include "kivdbxt/kiv_log_info.h"

namespace kiv {

// Reads up to Count events of EvLog's day into its LogData (ascending ordinals), from the
// ordinal Start forwards or backwards, keeping only the events Filter passes (all when null).
// Adjust turns a read that runs off one end of the day towards the other side of the run read
// so far, once. Returns True on error, recorded with Source "KivLog.ReadEventLog"; the events
// gathered before the error stay in LogData.
bool ReadEventLog(const std::shared_ptr<KivLogInfo>& EvLog, int32_t& Start, int32_t Count,
                  const std::shared_ptr<KivLogFilter>& Filter, bool Backwards, bool Adjust);

}  // namespace kiv
