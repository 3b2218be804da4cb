#include "dailylog/index_cursor.h"

#include <algorithm>
#include <string>

#include "dailylog/log_files.h"
#include "frame/error.h"
#include "platform/rt_errors.h"

namespace kiv {

void IndexCursor::Load(int32_t ordinal, int32_t events) {
  first_ = (ordinal - 1) / next_ * next_ + 1;
  const int32_t n = std::min(next_, events - first_ + 1);
  next_ = kBlock;
  block_.resize(static_cast<size_t>(n));
  const size_t want = static_cast<size_t>(n) * 4;
  std::string bytes(want, '\0');
  if (file_.ReadAt(IndexEntryOffset(first_), bytes.data(), want) != want) Raise(kErrInputPastEnd);
  const auto* b = reinterpret_cast<const unsigned char*>(bytes.data());
  for (int32_t i = 0; i < n; ++i) block_[static_cast<size_t>(i)] = DecodeIndexValue(b + 4 * i);
}

}  // namespace kiv
