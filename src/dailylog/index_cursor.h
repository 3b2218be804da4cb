// The record positions of a day's index, read a block at a time.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/file.h"

namespace kiv {

// Blocks are aligned, so that a walk in either direction reads each entry once, and the look at
// the last entries that numbers a day's events reads the block a page near the end reads next.
// A writer, which only needs the last entry, starts with a block of one.
class IndexCursor {
 public:
  static constexpr int32_t kBlock = 1024;
  explicit IndexCursor(const File& file, int32_t first_block = kBlock)
      : file_(file), next_(first_block) {}

  // The value of entry `ordinal` (1-based) of an index of `events` entries.
  int32_t Position(int32_t ordinal, int32_t events) {
    if (ordinal < first_ || ordinal >= first_ + static_cast<int32_t>(block_.size())) {
      Load(ordinal, events);
    }
    return block_[static_cast<size_t>(ordinal - first_)];
  }

 private:
  void Load(int32_t ordinal, int32_t events);

  const File& file_;
  int32_t next_;  // the size of the next block read
  int32_t first_ = 0;
  std::vector<int32_t> block_;
};

}  // namespace kiv
