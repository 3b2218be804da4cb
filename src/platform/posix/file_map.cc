// Views of files through mmap, guarded against a cut of the file by another program.
#include "platform/file_map.h"

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <utility>

#include "frame/error.h"

namespace kiv {
namespace {

// --- Views of files cut by another program --------------------------------------------------
//
// The address ranges of the open views, in a table the SIGBUS handler can read without a lock.
// A fault inside one of them is a page past the end of its file: the handler puts a page of
// zeros in its place and marks the view cut, and the interrupted copy carries on. Any other
// SIGBUS goes to the handler that was there before, or kills the process as it would have.
struct GuardedView {
  std::atomic<uintptr_t> begin{0};
  std::atomic<uintptr_t> end{0};
  std::atomic<bool> cut{false};
};

constexpr int kGuardedViews = 4096;  // more open views than this go unguarded
GuardedView g_views[kGuardedViews];
struct sigaction g_previous;
uintptr_t g_page = 4096;

void Forward(int sig, siginfo_t* info, void* context) {
  if (g_previous.sa_flags & SA_SIGINFO) {
    if (g_previous.sa_sigaction) return g_previous.sa_sigaction(sig, info, context);
  } else if (g_previous.sa_handler != SIG_DFL && g_previous.sa_handler != SIG_IGN) {
    return g_previous.sa_handler(sig);
  }
  // The default action: the faulting access runs again and the signal kills the process.
  struct sigaction fallback = {};
  fallback.sa_handler = SIG_DFL;
  ::sigaction(SIGBUS, &fallback, nullptr);
}

void OnBusError(int sig, siginfo_t* info, void* context) {
  const auto at = reinterpret_cast<uintptr_t>(info->si_addr);
  for (GuardedView& view : g_views) {
    if (at < view.begin.load(std::memory_order_acquire) ||
        at >= view.end.load(std::memory_order_acquire)) {
      continue;
    }
    void* page = reinterpret_cast<void*>(at & ~(g_page - 1));
    if (::mmap(page, g_page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1,
               0) == MAP_FAILED) {
      break;
    }
    view.cut.store(true, std::memory_order_release);
    return;
  }
  Forward(sig, info, context);
}

void InstallHandler() {
  g_page = static_cast<uintptr_t>(::sysconf(_SC_PAGESIZE));
  struct sigaction action = {};
  action.sa_sigaction = OnBusError;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  ::sigaction(SIGBUS, &action, &g_previous);
}

int Guard(const uint8_t* data, int64_t length) {
  static std::once_flag installed;
  std::call_once(installed, InstallHandler);
  for (int i = 0; i < kGuardedViews; ++i) {
    uintptr_t free = 0;
    if (g_views[i].begin.compare_exchange_strong(free, reinterpret_cast<uintptr_t>(data))) {
      g_views[i].cut.store(false, std::memory_order_relaxed);
      g_views[i].end.store(reinterpret_cast<uintptr_t>(data) + static_cast<uintptr_t>(length),
                           std::memory_order_release);
      return i;
    }
  }
  return -1;
}

void Unguard(int i) {
  if (i < 0) return;
  g_views[i].end.store(0, std::memory_order_release);
  g_views[i].begin.store(0, std::memory_order_release);
}

}  // namespace

void FileMap::Unmap() {
  Unguard(std::exchange(guard_, -1));
  if (data_) ::munmap(data_, static_cast<size_t>(length_));
  data_ = nullptr;
  offset_ = 0;
  length_ = 0;
  writable_ = false;
}

FileMap FileMap::Map(const File& file, int64_t length, bool writable) {
  FileMap map;
  if (length <= 0) return map;
  const int protection = writable ? PROT_READ | PROT_WRITE : PROT_READ;
  void* p = ::mmap(nullptr, static_cast<size_t>(length), protection, MAP_SHARED | MAP_POPULATE,
                   file.fd_, 0);
  if (p == MAP_FAILED) RaiseErrno(errno);
  map.data_ = static_cast<uint8_t*>(p);
  map.length_ = length;
  map.writable_ = writable;
  map.guard_ = Guard(map.data_, length);
  return map;
}

FileMap FileMap::MapWindow(const File& file, int64_t from, int64_t length) {
  FileMap map;
  const auto page = static_cast<int64_t>(::sysconf(_SC_PAGESIZE));
  const int64_t offset = from / page * page;
  length += from - offset;
  if (from < 0 || length <= 0) return map;
  // Not populated: the pages past the end have nothing to read in yet.
  void* p = ::mmap(nullptr, static_cast<size_t>(length), PROT_READ, MAP_SHARED, file.fd_, offset);
  if (p == MAP_FAILED) return map;
  map.data_ = static_cast<uint8_t*>(p);
  map.offset_ = offset;
  map.length_ = length;
  map.guard_ = Guard(map.data_, length);
  return map;
}

bool FileMap::Cut() const {
  return guard_ >= 0 && g_views[guard_].cut.load(std::memory_order_acquire);
}

}  // namespace kiv
