#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

#include <vector>

#include "console.h"
#include "platform/text_codec.h"

namespace kivlog {

void UseUtf8Console(int& argc, char**& argv) {
  // main's arguments are in the ANSI code page, which cannot hold every name or pattern; the
  // wide command line can. The UTF-8 copies live until the program ends.
  static std::vector<std::string> utf8;
  static std::vector<char*> pointers;
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wide) {
    for (int i = 0; i < count; ++i) {
      utf8.push_back(kiv::ToUtf8(kiv::String(reinterpret_cast<const char16_t*>(wide[i]))));
    }
    LocalFree(wide);
    for (std::string& arg : utf8) pointers.push_back(arg.data());
    pointers.push_back(nullptr);
    argc = count;
    argv = pointers.data();
  }
  SetConsoleOutputCP(CP_UTF8);
}

int OpenOutputFile(const std::string& path) {
  const kiv::String name = kiv::FromUtf8(path);
  return ::_wopen(reinterpret_cast<const wchar_t*>(name.c_str()),
                  _O_WRONLY | _O_CREAT | _O_TRUNC | _O_TEXT | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
}

}  // namespace kivlog
