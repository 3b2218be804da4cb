// User, computer and program names, the registry and system texts over the wide Win32 calls.
#include "platform/system.h"

#include <windows.h>

#include "platform/fs.h"
#include "platform/win32/win_error.h"

namespace kiv {

String UserName() {
  wchar_t buf[257];
  DWORD n = 257;
  return GetUserNameW(buf, &n) ? FromWide(buf) : String();
}

String ComputerName() {
  // Taken once per process: a report asks for it every time.
  static const String name = [] {
    wchar_t buf[MAX_COMPUTERNAME_LENGTH + 1];
    DWORD n = MAX_COMPUTERNAME_LENGTH + 1;
    return GetComputerNameW(buf, &n) ? FromWide(buf) : String();
  }();
  return name;
}

bool RegistryReadString(RegistryRoot root, StringView key, StringView value, String& out) {
  const HKEY hkey = root == RegistryRoot::LocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
  const String k(key), v(value);
  DWORD bytes = 0;
  const DWORD flags = RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ;
  if (RegGetValueW(hkey, Wide(k), Wide(v), flags, nullptr, nullptr, &bytes) != ERROR_SUCCESS) {
    return false;
  }
  String text(bytes / sizeof(char16_t) + 1, u'\0');
  bytes = static_cast<DWORD>(text.size() * sizeof(char16_t));
  if (RegGetValueW(hkey, Wide(k), Wide(v), flags, nullptr, text.data(), &bytes) != ERROR_SUCCESS) {
    return false;
  }
  text.resize(text.find(u'\0'));
  out = std::move(text);
  return true;
}

bool ProgramFilesFolder(String& out) {
  const StringView key = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion";
  return RegistryReadString(RegistryRoot::LocalMachine, key, u"ProgramFilesDir (x86)", out) ||
         RegistryReadString(RegistryRoot::LocalMachine, key, u"ProgramFilesDir", out);
}

String SystemErrorText(int32_t code) {
  wchar_t* text = nullptr;
  const DWORD n = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(code), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  String message = n > 0 ? FromWide(text) : String();
  LocalFree(text);
  // The system ends its texts with CR LF; the error's description supplies its own line ends.
  while (!message.empty() &&
         (message.back() == u'\n' || message.back() == u'\r' || message.back() == u' ')) {
    message.pop_back();
  }
  return message;
}

uint32_t ProcessId() { return GetCurrentProcessId(); }

String ProgramName() {
  wchar_t buf[MAX_PATH + 1];
  const DWORD n = GetModuleFileNameW(nullptr, buf, MAX_PATH + 1);
  String name = BaseName(n > 0 ? FromWide(buf) : String());
  const size_t dot = name.rfind(u'.');
  return dot == String::npos ? name : name.substr(0, dot);
}

}  // namespace kiv
