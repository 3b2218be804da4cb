#include "platform/text_codec.h"

#include <array>
#include <bit>
#include <cstring>

namespace kiv {
namespace {

// Characters of bytes 0x80..0x9F in Windows-1252; undefined bytes keep their C1 value.
constexpr char16_t kHigh[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

// The length of the strict UTF-8 sequence at p (0 when none starts there) and its code point.
// The second byte's range refuses overlong forms (C0, C1, E0 80..9F, F0 80..8F), surrogates
// (ED A0..BF) and code points past U+10FFFF (F4 90.., F5..FF).
size_t Utf8Sequence(const uint8_t* p, size_t n, uint32_t& cp) {
  const uint8_t b = p[0];
  if (b < 0x80) {
    cp = b;
    return 1;
  }
  size_t len = 0;
  uint8_t lo = 0x80, hi = 0xBF;
  if (b >= 0xC2 && b <= 0xDF) {
    len = 2;
    cp = b & 0x1F;
  } else if (b >= 0xE0 && b <= 0xEF) {
    len = 3;
    cp = b & 0x0F;
    if (b == 0xE0) lo = 0xA0;
    if (b == 0xED) hi = 0x9F;
  } else if (b >= 0xF0 && b <= 0xF4) {
    len = 4;
    cp = b & 0x07;
    if (b == 0xF0) lo = 0x90;
    if (b == 0xF4) hi = 0x8F;
  } else {
    return 0;
  }
  if (n < len || p[1] < lo || p[1] > hi) return 0;
  for (size_t k = 1; k < len; ++k) {
    if ((p[k] & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (p[k] & 0x3F);
  }
  return len;
}

void AppendUtf16(uint32_t cp, String& out) {
  if (cp >= 0x10000) {
    cp -= 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
  } else {
    out.push_back(static_cast<char16_t>(cp));
  }
}

}  // namespace

uint8_t ToCp1252(char16_t c) {
  if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) return static_cast<uint8_t>(c);
  for (int i = 0; i < 32; ++i) {
    if (kHigh[i] == c) return static_cast<uint8_t>(0x80 + i);
  }
  return '?';
}

// Four characters at a time: most text is short and plain, and every event saved has six texts.
TextKinds KindsOf(StringView text) {
  constexpr uint64_t kHighBits = 0x8000800080008000ull;
  uint64_t high = 0, below32 = 0;
  size_t i = 0;
  for (; i + 4 <= text.size(); i += 4) {
    uint64_t w;
    std::memcpy(&w, text.data() + i, 8);
    high |= w & 0xFF80FF80FF80FF80ull;
    below32 |= (w - 0x0020002000200020ull) & ~w & kHighBits;  // a lane below 32 borrows
  }
  for (; i < text.size(); ++i) {
    high |= text[i] & 0xFF80;
    below32 |= text[i] < 32;
  }
  return TextKinds{high != 0, below32 != 0};
}

void AppendAscii(StringView text, std::string& out) {
  static_assert(std::endian::native == std::endian::little);
  const size_t at = out.size();
  out.resize(at + text.size());
  char* dst = out.data() + at;
  size_t i = 0;
  for (; i + 4 <= text.size(); i += 4) {  // the low bytes of four characters, gathered
    uint64_t w;
    std::memcpy(&w, text.data() + i, 8);
    w = (w & 0x000000FF000000FFull) | ((w & 0x00FF000000FF0000ull) >> 8);
    const auto four = static_cast<uint32_t>((w & 0xFFFF) | ((w >> 16) & 0xFFFF0000));
    std::memcpy(dst + i, &four, 4);
  }
  for (; i < text.size(); ++i) dst[i] = static_cast<char>(text[i]);
}

void AppendCp1252(StringView text, std::string& out) {
  if (!KindsOf(text).non_ascii) return AppendAscii(text, out);
  for (char16_t c : text) out.push_back(static_cast<char>(ToCp1252(c)));
}

std::string ToCp1252(StringView text) {
  std::string out;
  AppendCp1252(text, out);
  return out;
}

char16_t FromCp1252(uint8_t byte) {
  if (byte >= 0x80 && byte < 0xA0) return kHigh[byte - 0x80];
  return byte;
}

String FromCp1252(std::string_view bytes) {
  String out;
  out.resize(bytes.size());
  for (size_t i = 0; i < bytes.size(); ++i) out[i] = FromCp1252(static_cast<uint8_t>(bytes[i]));
  return out;
}

String BytesToString(const uint8_t* data, size_t size) {
  String out(size, u'\0');
  for (size_t i = 0; i < size; ++i) out[i] = data[i];
  return out;
}

String BytesToString(const std::vector<uint8_t>& bytes) {
  return BytesToString(bytes.data(), bytes.size());
}

std::vector<uint8_t> StringToBytes(StringView text) {
  std::vector<uint8_t> out(text.size());
  for (size_t i = 0; i < text.size(); ++i) out[i] = static_cast<uint8_t>(text[i]);
  return out;
}

bool IsByteString(StringView text) {
  for (char16_t c : text) {
    if (c > 0xFF) return false;
  }
  return true;
}

void AppendUtf8(StringView text, std::string& out) {
  size_t ascii = 0;
  while (ascii < text.size() && text[ascii] < 0x80) ++ascii;
  // Appending the char16_t range itself would build a temporary std::string first.
  const size_t at = out.size();
  out.resize(at + ascii);
  for (size_t i = 0; i < ascii; ++i) out[at + i] = static_cast<char>(text[i]);
  if (ascii == text.size()) return;
  out.reserve(out.size() + 3 * (text.size() - ascii));
  for (size_t i = ascii; i < text.size(); ++i) {
    uint32_t cp = text[i];
    if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (cp >= 0xD800 && cp <= 0xDFFF) {
      cp = 0xFFFD;
    }
    if (cp < 0x80) {
      out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
  }
}

std::string ToUtf8(StringView text) {
  std::string out;
  AppendUtf8(text, out);
  return out;
}

String FromUtf8(std::string_view text) {
  String out;
  out.reserve(text.size());
  const auto* p = reinterpret_cast<const uint8_t*>(text.data());
  for (size_t i = 0; i < text.size();) {
    uint32_t cp = 0;
    const size_t len = Utf8Sequence(p + i, text.size() - i, cp);
    if (len == 0) {
      out.push_back(0xFFFD);  // one replacement per byte that starts no valid sequence
      ++i;
      continue;
    }
    AppendUtf16(cp, out);
    i += len;
  }
  return out;
}

bool DecodeUtf8(std::string_view bytes, String& out) {
  out.clear();
  out.reserve(bytes.size());
  const auto* p = reinterpret_cast<const uint8_t*>(bytes.data());
  for (size_t i = 0; i < bytes.size();) {
    uint32_t cp = 0;
    const size_t len = Utf8Sequence(p + i, bytes.size() - i, cp);
    if (len == 0) return false;
    AppendUtf16(cp, out);
    i += len;
  }
  return true;
}

bool IsUtf8(std::string_view bytes) {
  const auto* p = reinterpret_cast<const uint8_t*>(bytes.data());
  size_t i = 0;
  // Plain ASCII, the usual text of a log, eight bytes at a time.
  for (uint64_t word; i + 8 <= bytes.size(); i += 8) {
    std::memcpy(&word, p + i, 8);
    if (word & 0x8080808080808080u) break;
  }
  while (i < bytes.size()) {
    uint32_t cp = 0;
    const size_t len = Utf8Sequence(p + i, bytes.size() - i, cp);
    if (len == 0) return false;
    i += len;
  }
  return true;
}

bool FitsCp1252(StringView text) {
  for (char16_t c : text) {
    if (c >= 0x80 && ToCp1252(c) == '?') return false;
  }
  return true;
}

}  // namespace kiv
