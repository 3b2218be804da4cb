// Text comparison without regard to case, as the run time's text compare does.
#pragma once

#include "kivdbxt/types.h"

namespace kiv {

char16_t FoldCase(char16_t c);  // upper-case form used for comparison
String FoldCase(StringView text);
bool TextEquals(StringView a, StringView b);
// 0-based position of needle in haystack without regard to case; npos when absent.
size_t TextFind(StringView haystack, StringView needle);
// Trims spaces at both ends, as Trim$ does.
String Trim(StringView text);

}  // namespace kiv
