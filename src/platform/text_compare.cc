#include "platform/text_compare.h"

namespace kiv {

char16_t FoldCase(char16_t c) {
  if (c < 0x80) return (c >= u'a' && c <= u'z') ? c - 32 : c;
  if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return c - 32;  // Latin-1 letters
  if (c == 0xFF) return 0x178;
  if (c >= 0x100 && c <= 0x17F) {
    // Latin Extended-A pairs: upper case is even in 0x100..0x137 and 0x14A..0x177, odd elsewhere.
    bool even_upper = (c <= 0x137) || (c >= 0x14A && c <= 0x177);
    if (even_upper) return (c & 1) ? c - 1 : c;
    if (c == 0x17F) return u'S';
    return (c & 1) ? c : c - 1;
  }
  if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) return c - 32;  // Greek
  if (c >= 0x430 && c <= 0x44F) return c - 32;                // Cyrillic
  if (c >= 0x450 && c <= 0x45F) return c - 80;
  return c;
}

String FoldCase(StringView text) {
  String out(text);
  for (char16_t& c : out) c = FoldCase(c);
  return out;
}

bool TextEquals(StringView a, StringView b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (FoldCase(a[i]) != FoldCase(b[i])) return false;
  }
  return true;
}

size_t TextFind(StringView haystack, StringView needle) {
  if (needle.empty()) return 0;
  if (needle.size() > haystack.size()) return StringView::npos;
  const char16_t first = FoldCase(needle[0]);
  for (size_t i = 0; i + needle.size() <= haystack.size(); ++i) {
    if (FoldCase(haystack[i]) != first) continue;
    if (TextEquals(haystack.substr(i, needle.size()), needle)) return i;
  }
  return StringView::npos;
}

String Trim(StringView text) {
  size_t b = text.find_first_not_of(u' ');
  if (b == StringView::npos) return String();
  size_t e = text.find_last_not_of(u' ');
  return String(text.substr(b, e - b + 1));
}

}  // namespace kiv
