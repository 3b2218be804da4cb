// Companion operations: user and computer names, unique numbers, the registry shim, padding.
#pragma once

#include <cstdint>

#include "frame/internal_api.h"
#include "kivdbxt/types.h"

namespace kiv {

KIV_INTERNAL_API String UserName();
KIV_INTERNAL_API String ComputerName();
// Distinct positive 32-bit numbers within a process (never 0), from a random start.
int32_t UniqueNumber();
// Restarts the sequence of UniqueNumber from a given state, so that a test can write the same
// events twice and compare the files byte for byte.
KIV_INTERNAL_API void SeedUniqueNumbers(uint32_t seed);

// The registry roots the library reads.
enum class RegistryRoot { LocalMachine, CurrentUser };
// Reads a string value. On POSIX only "ProgramFilesDir" of
// "SOFTWARE\Microsoft\Windows\CurrentVersion" exists: $KIV_PROGRAMFILESDIR, else $XDG_DATA_HOME,
// else $HOME/.local/share. False when the value is not available; never raises.
bool RegistryReadString(RegistryRoot root, StringView key, StringView value, String& out);
// The folder programs are installed in, as 32-bit programs see it: on 64-bit Windows the value
// "ProgramFilesDir (x86)" when it exists, else "ProgramFilesDir", so that this library and
// 32-bit clients share one log folder. False when not available; never raises.
bool ProgramFilesFolder(String& out);

// The system's text for one of its error codes (errno on POSIX, GetLastError on Windows).
String SystemErrorText(int32_t code);
// This process's id.
uint32_t ProcessId();
// The running program's name, without folder or extension.
String ProgramName();

// The number written left-filled with '0' to at least width characters.
String ZeroPad(int64_t number, int width);

}  // namespace kiv
