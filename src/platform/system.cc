#include "platform/system.h"

#include <pwd.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <random>

#include "platform/vb_convert.h"

namespace kiv {
namespace {

String EnvValue(const char* name) {
  const char* v = std::getenv(name);
  return v && *v ? FromUtf8(v) : String();
}

uint32_t RandomStart() {
  std::random_device rd;
  uint64_t t = static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  return static_cast<uint32_t>(rd() ^ t ^ (static_cast<uint64_t>(::getpid()) << 16));
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

namespace {

// A full-period linear congruential sequence modulo 2^31: every value in 1..2^31-1 comes once
// before any repeats, so the numbers drawn in one process are distinct.
std::atomic<uint32_t>& UniqueState() {
  static std::atomic<uint32_t> state{RandomStart() & 0x7FFFFFFF};
  return state;
}

}  // namespace

void SeedUniqueNumbers(uint32_t seed) { UniqueState().store(seed & 0x7FFFFFFF); }

int32_t UniqueNumber() {
  std::atomic<uint32_t>& state = UniqueState();
  uint32_t next;
  uint32_t cur = state.load(std::memory_order_relaxed);
  do {
    next = (cur * 1103515245u + 12345u) & 0x7FFFFFFF;
  } while (!state.compare_exchange_weak(cur, next, std::memory_order_relaxed));
  if (next == 0) return UniqueNumber();
  return static_cast<int32_t>(next);
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

String ZeroPad(int64_t number, int width) {
  String digits = IntText(number < 0 ? -number : number);
  while (static_cast<int>(digits.size()) < width - (number < 0 ? 1 : 0)) digits.insert(0, 1, u'0');
  return number < 0 ? u"-" + digits : digits;
}

}  // namespace kiv
