// Library-internal access to KivLogEvent: the ordinal is written only by the daily log.
#pragma once

#include "kivdbxt/kiv_log_event.h"

namespace kiv {

struct EventAccess {
  static void SetOrdinal(KivLogEvent& event, int32_t ordinal) { event.ordinal_ = ordinal; }
};

}  // namespace kiv
