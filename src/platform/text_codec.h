// Text encodings: Windows-1252 (or UTF-8, by option) for the daily data files, UTF-8 at the
// edges, and the one-character-per-byte strings of the buffering operations.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "frame/internal_api.h"
#include "kivdbxt/types.h"

namespace kiv {

// Windows-1252 byte for a character; '?' for a character outside the code page.
KIV_INTERNAL_API uint8_t ToCp1252(char16_t c);
KIV_INTERNAL_API std::string ToCp1252(StringView text);
void AppendCp1252(StringView text, std::string& out);
// What a text holds, found in one pass: characters outside ASCII, controls below 32.
struct TextKinds {
  bool non_ascii = false;
  bool controls = false;
};
TextKinds KindsOf(StringView text);
// Appends text whose every character is ASCII, one byte each.
void AppendAscii(StringView text, std::string& out);
// Every byte maps to a character (the five bytes the code page leaves undefined map to the C1
// control of the same value), so decoding never fails and round-trips.
char16_t FromCp1252(uint8_t byte);
String FromCp1252(std::string_view bytes);
// True when every character has its own byte in Windows-1252 (nothing would become '?').
KIV_INTERNAL_API bool FitsCp1252(StringView text);

// Appends what ToUtf8 returns (a lone surrogate becomes U+FFFD).
void AppendUtf8(StringView text, std::string& out);

// Strict UTF-8: overlong forms, surrogates and code points past U+10FFFF are not UTF-8.
KIV_INTERNAL_API bool IsUtf8(std::string_view bytes);
// Decodes strict UTF-8 into `out`; false (and `out` unspecified) when the bytes are not UTF-8.
KIV_INTERNAL_API bool DecodeUtf8(std::string_view bytes, String& out);

// One character per byte, both ways; characters above 255 keep their low byte.
String BytesToString(const uint8_t* data, size_t size);
String BytesToString(const std::vector<uint8_t>& bytes);
std::vector<uint8_t> StringToBytes(StringView text);  // requires IsByteString(text)
bool IsByteString(StringView text);

}  // namespace kiv
