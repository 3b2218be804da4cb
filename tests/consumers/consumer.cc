// A program that uses kivdbxt as a downstream project does: only the installed public headers
// and the shared library. scripts/check-consumers builds it three ways (CMake package,
// pkg-config, add_subdirectory) and runs it. Beyond a few calls, it checks what hidden
// visibility could break: an exception type raised inside the library and caught here, and a
// dynamic cast of an object the library made.
#include <kivdbxt/kivdbxt.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

int failures = 0;

void Check(bool ok, const char* what) {
  if (!ok) {
    std::fprintf(stderr, "consumer: FAILED: %s\n", what);
    ++failures;
  }
}

}  // namespace

int main() {
  namespace fs = std::filesystem;
  char tmpl[] = "/tmp/kivdbxt-consumer-XXXXXX";
  if (!::mkdtemp(tmpl)) return 2;
  const fs::path dir = tmpl;
  const kiv::String folder = kiv::FromUtf8(dir.string());

  // A daily log written and read back.
  {
    kiv::KivLog log;
    int32_t id = log.EventLogOpen(u"CONSUMER", folder);
    Check(id != 0, "EventLogOpen");
    Check(!log.EventLogWrite(id, u"consumer", u"hello from a consumer"), "EventLogWrite");
    auto info = std::make_shared<kiv::KivLogInfo>();
    Check(!log.EventLogInfo(id, info), "EventLogInfo");
    Check(!log.EventLogRead(info, 1, 10), "EventLogRead");
    // The "Open" marker, then the event.
    auto event = info->LogData()->ObjectAt<kiv::KivLogEvent>(2);
    Check(event != nullptr, "the library's event as a KivLogEvent");
    Check(event && kiv::ToUtf8(event->EvRawData()) == "hello from a consumer", "the event's text");
    Check(!log.EventLogClose(id), "EventLogClose");
  }

  // A failure is recorded, not thrown.
  kiv::KivLog log;
  Check(log.EventLogClose(12345), "EventLogClose of an unknown Id fails");
  Check(kiv::Last_Error() != 0, "Last_Error after a failure");

  // The DAO objects raise kiv::Error to their caller.
  try {
    auto db =
        kiv::dao::DBEngine::ForThread()->OpenDatabase(kiv::FromUtf8((dir / "none.db").string()));
    Check(false, "OpenDatabase of a missing file raises");
  } catch (const kiv::Error& e) {
    Check(e.number == 3024 && !e.description.empty(), "kiv::Error 3024 with its text");
  }

  // Objects by ProgID.
  Check(std::dynamic_pointer_cast<kiv::KivLogFilter>(
            kiv::CreateObject(u"KivDbXtOle.KivLogFilter")) != nullptr,
        "CreateObject of KivLogFilter");
  Check(kiv::Variant(int32_t{42}).ToString() == kiv::String(u"42"), "Variant conversion");

  fs::remove_all(dir);
  if (failures == 0) std::printf("consumer: ok\n");
  return failures == 0 ? 0 : 1;
}
