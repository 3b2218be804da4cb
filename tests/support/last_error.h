// The error the library recorded last, checked field by field.
#pragma once

#include <gtest/gtest.h>

#include <utility>

#include "kivdbxt/error.h"

namespace kivtest {

// The number and Source of a recorded error.
using Recorded = std::pair<int32_t, kiv::String>;

inline Recorded LastRecorded() {
  const kiv::ErrorRecord r = kiv::LastErrorRecord();
  return {r.Number, r.Source};
}

inline void ExpectLastError(int32_t number, const kiv::String& source,
                            const kiv::String& description) {
  const kiv::ErrorRecord r = kiv::LastErrorRecord();
  EXPECT_EQ(r.Number, number);
  EXPECT_EQ(r.Source, source);
  EXPECT_EQ(r.Description, description);
}

}  // namespace kivtest
