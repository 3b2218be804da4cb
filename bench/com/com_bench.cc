// The cost of one KivLog.EventLogWrite called in process from C++ and early bound through the
// automation server's vtable, on a log that keeps its files open (so that the calls' own cost
// shows through the file system's) (run by scripts/bench-com, which adds the late-bound call from
// VBScript and prints the ratios). Prints "<call>_us <microseconds per call>" lines.
#include "com/system.h"
// initguid makes this file define the identifiers of widl's header.
#include <initguid.h>
#include <kivdbxt/kiv_log.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "com/typelib.h"

namespace {

// Microseconds per call of body: the fastest of kRounds runs of calls calls each, after one
// warm-up call, so that a loaded machine's pauses count as little as they can.
constexpr int kRounds = 5;
double PerCall(int calls, const std::function<void()>& body) {
  body();
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  double best = 0;
  for (int round = 0; round < kRounds; ++round) {
    LARGE_INTEGER start, end;
    QueryPerformanceCounter(&start);
    for (int i = 0; i < calls; ++i) body();
    QueryPerformanceCounter(&end);
    const double us = 1e6 * static_cast<double>(end.QuadPart - start.QuadPart) /
                      static_cast<double>(frequency.QuadPart) / calls;
    if (round == 0 || us < best) best = us;
  }
  return best;
}

std::u16string Text(const std::wstring& text) { return std::u16string(text.begin(), text.end()); }

}  // namespace

int main(int argc, char** argv) {
  const int calls = argc > 2 ? std::atoi(argv[2]) : 300;
  if (argc < 2 || calls <= 0) {
    std::fprintf(stderr, "usage: kiv_com_bench <log folder> [calls]\n");
    return 2;
  }
  std::wstring folder(argv[1], argv[1] + std::char_traits<char>::length(argv[1]));

  auto log = std::make_shared<kiv::KivLog>();
  const int32_t id = log->EventLogOpen(u"BENCHCPP", Text(folder));
  log->EventLogOptions(id, kiv::KIVLIOPT_KEEPOPEN);
  const double in_process = PerCall(calls, [&] { log->EventLogWrite(id, u"bench", u"raw data"); });
  log->EventLogClose(id);

  CoInitialize(nullptr);
  _KivLog* early = nullptr;
  if (FAILED(CoCreateInstance(CLSID_KivLog, nullptr, CLSCTX_INPROC_SERVER, IID__KivLog,
                              reinterpret_cast<void**>(&early)))) {
    std::fprintf(stderr, "KivLog is not registered\n");
    return 1;
  }
  BSTR app = SysAllocString(L"BENCHEARLY"), path = SysAllocString(folder.c_str()),
       empty = SysAllocString(L""), source = SysAllocString(L"bench"),
       raw = SysAllocString(L"raw data");
  LONG mode = 3, com_id = 0, raw_type = 0, type = 2, event_id = 0;
  DATE today = 0;
  early->EventLogOpen(&app, &path, &mode, &today, &empty, &empty, &com_id);
  early->put_EventLogOptions(&com_id, kiv::KIVLIOPT_KEEPOPEN);
  VARIANT_BOOL failed = VARIANT_FALSE;
  const double early_bound = PerCall(calls, [&] {
    early->EventLogWrite(&com_id, &source, &raw, &raw_type, &type, &empty, &event_id, &empty,
                         &failed);
  });
  early->EventLogClose(&com_id, &failed);
  early->Release();
  for (BSTR text : {app, path, empty, source, raw}) SysFreeString(text);
  CoUninitialize();

  std::printf("in_process_us %.3f\nearly_bound_us %.3f\n", in_process, early_bound);
  return 0;
}
