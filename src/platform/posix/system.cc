// User, computer and program names, the registry shim and system texts over POSIX calls.
#include "platform/system.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "platform/text_codec.h"

namespace kiv {
namespace {

String EnvValue(const char* name) {
  const char* v = std::getenv(name);
  return v && *v ? FromUtf8(v) : String();
}

}  // namespace

String UserName() {
  String name = EnvValue("USER");
  if (!name.empty()) return name;
  // The account database is read once per user id: a report asks for the name every time, and
  // the look-up opens and reads files.
  thread_local uid_t cached_uid = static_cast<uid_t>(-1);
  thread_local std::optional<String> cached_name;
  const uid_t uid = ::geteuid();
  if (uid != cached_uid) {
    passwd* pw = ::getpwuid(uid);
    cached_name = pw ? std::optional<String>(FromUtf8(pw->pw_name)) : std::nullopt;
    cached_uid = uid;
  }
  if (cached_name) return *cached_name;
  return EnvValue("LOGNAME");
}

String ComputerName() {
  // Taken once per process, as a computer's name is known to its programs from start-up: a report
  // asks for it every time, and each look-up is a system call.
  static const String name = [] {
    char buf[256] = {};
    if (::gethostname(buf, sizeof buf - 1) != 0) return String();
    return FromUtf8(buf);
  }();
  return name;
}

bool RegistryReadString(RegistryRoot root, StringView key, StringView value, String& out) {
  if (root != RegistryRoot::LocalMachine ||
      key != u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion" || value != u"ProgramFilesDir") {
    return false;
  }
  for (const char* var : {"KIV_PROGRAMFILESDIR", "XDG_DATA_HOME"}) {
    String v = EnvValue(var);
    if (!v.empty()) {
      out = v;
      return true;
    }
  }
  String home = EnvValue("HOME");
  if (home.empty()) return false;
  out = home + u"/.local/share";
  return true;
}

bool ProgramFilesFolder(String& out) {
  return RegistryReadString(RegistryRoot::LocalMachine,
                            u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion", u"ProgramFilesDir",
                            out);
}

String SystemErrorText(int32_t code) {
  char buf[256];
  // GNU strerror_r returns the message, which may or may not live in buf.
  const char* text = strerror_r(code, buf, sizeof buf);
  return FromUtf8(text);
}

uint32_t ProcessId() { return static_cast<uint32_t>(::getpid()); }

String ProgramName() { return FromUtf8(program_invocation_short_name); }

}  // namespace kiv
