// The value a field collects through AppendChunk: pieces kept as they come, so that appending
// never copies what is already there and the whole value is never held twice.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace kiv::dao::detail {

class ChunkBuffer {
 public:
  void Append(const uint8_t* data, size_t size) {
    while (size > 0) {
      if (pieces_.empty() || pieces_.back().size() == kPiece) {
        pieces_.emplace_back();
        pieces_.back().reserve(kPiece);
      }
      std::vector<uint8_t>& last = pieces_.back();
      const size_t n = std::min(size, kPiece - last.size());
      last.insert(last.end(), data, data + n);
      data += n;
      size -= n;
      size_ += n;
    }
  }

  size_t Size() const { return size_; }
  const std::vector<std::vector<uint8_t>>& Pieces() const { return pieces_; }

  // Up to n bytes from offset.
  std::vector<uint8_t> Read(size_t offset, size_t n) const {
    std::vector<uint8_t> out;
    if (offset >= size_) return out;
    n = std::min(n, size_ - offset);
    out.reserve(n);
    size_t piece = offset / kPiece;
    size_t at = offset % kPiece;
    while (out.size() < n) {
      const std::vector<uint8_t>& p = pieces_[piece++];
      const size_t take = std::min(n - out.size(), p.size() - at);
      out.insert(out.end(), p.begin() + at, p.begin() + at + take);
      at = 0;
    }
    return out;
  }

  std::vector<uint8_t> All() const { return Read(0, size_); }

 private:
  static constexpr size_t kPiece = 64 * 1024;
  std::vector<std::vector<uint8_t>> pieces_;
  size_t size_ = 0;
};

}  // namespace kiv::dao::detail
