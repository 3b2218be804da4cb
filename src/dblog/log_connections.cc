#include "dblog/log_connections.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "dao/connection.h"
#include "dao/engine/engine.h"
#include "kivdbxt/dao.h"
#include "platform/file.h"
#include "platform/fs.h"
#include "platform/system.h"

namespace kiv::log_connections {
namespace {

using Clock = std::chrono::steady_clock;

struct Kept {
  String name;
  bool read_only = false;
  Handles handles;
  FileStamp stamp;  // of the file when it was opened; size -1 for a server's database
  Clock::time_point idle_since;
};

// The cache of one process. A child made by fork() starts a cache of its own and never touches
// its parent's connections: an SQLite connection must not cross fork(), and closing one there
// would drop the parent's locks.
struct Cache {
  uint32_t pid = ProcessId();
  std::mutex mutex;
  std::condition_variable wake;
  std::vector<Kept> kept;
  std::map<const dao::Database*, FileStamp> out;  // stamps of connections taken
  bool closer_running = false;
};

Cache& Instance() {
  static Cache* cache = new Cache;  // never destroyed: its closer thread may outlive main
  if (cache->pid != ProcessId()) cache = new Cache;
  return *cache;
}

bool OnServer(const String& name) { return dao::engine::IsServerName(ToUtf8(name)); }

FileStamp StampOf(const String& name) {
  return OnServer(name) ? FileStamp{} : PathStamp(ToUtf8(name));
}

// Whether a kept connection still names the database at its path.
bool StillThere(const Kept& k) {
  return OnServer(k.name) || k.stamp.SameFile(PathStamp(ToUtf8(k.name)));
}

// Closes a connection. One whose file was removed or replaced meanwhile leaves the files now
// at its path alone: SQLite sees that its file has moved and neither checkpoints nor removes the
// WAL and shared memory by name.
void Close(const std::shared_ptr<dao::Database>& db) {
  try {
    db->Connection()->Close();
  } catch (...) {
    // Closing gives no error worth keeping: the handle goes in any case.
  }
}

void Close(const Kept& k) { Close(k.handles.db); }

// Closes the connections idle for kIdleMs, waking when the next one comes due.
void CloseIdle(Cache* cache) {
  std::unique_lock lock(cache->mutex);
  while (!cache->kept.empty()) {
    const auto now = Clock::now();
    const auto limit = std::chrono::milliseconds(kIdleMs);
    auto due = now + limit;
    std::vector<Kept> expired;
    std::erase_if(cache->kept, [&](Kept& k) {
      if (now - k.idle_since < limit) {
        due = std::min(due, k.idle_since + limit);
        return false;
      }
      expired.push_back(std::move(k));
      return true;
    });
    lock.unlock();
    for (const Kept& k : expired) Close(k);
    lock.lock();
    if (!cache->kept.empty()) cache->wake.wait_until(lock, due);
  }
  cache->closer_running = false;
}

}  // namespace

Handles Take(const String& name, bool read_only,
             const std::function<std::shared_ptr<dao::Database>()>& open) {
  Cache& cache = Instance();
  std::vector<Kept> stale;
  {
    std::lock_guard lock(cache.mutex);
    for (auto it = cache.kept.begin(); it != cache.kept.end();) {
      if (it->name != name || it->read_only != read_only) {
        ++it;
      } else if (!StillThere(*it) || !it->handles.db->Connection()->IsOpen()) {
        stale.push_back(std::move(*it));
        it = cache.kept.erase(it);
      } else {
        Handles handles = std::move(it->handles);
        cache.out[handles.db.get()] = it->stamp;
        cache.kept.erase(it);
        return handles;
      }
    }
  }
  for (const Kept& k : stale) Close(k);
  // The stamp is taken before the open and checked after it: a file replaced meanwhile is not
  // the one the connection may have opened, and that connection is not kept.
  const FileStamp before = StampOf(name);
  std::shared_ptr<dao::Database> db = open();
  const FileStamp after = StampOf(name);
  std::lock_guard lock(cache.mutex);
  cache.out[db.get()] = OnServer(name) || before.SameFile(after) ? before : FileStamp{};
  return Handles{std::move(db), nullptr, nullptr};
}

void Keep(const String& name, bool read_only, Handles handles) {
  Cache& cache = Instance();
  // A recordset left on a row holds no read open: its statements are reset after each move.
  // Any other read still pending (a long value read in slices) ends here.
  if (handles.db->Connection()->IsOpen()) handles.db->Connection()->FinishReads();
  std::unique_lock lock(cache.mutex);
  auto out = cache.out.find(handles.db.get());
  const bool known = out != cache.out.end();
  Kept k{name, read_only, std::move(handles), known ? out->second : FileStamp{}, Clock::now()};
  if (known) cache.out.erase(out);
  const auto& conn = k.handles.db->Connection();
  const bool keepable = known && conn->IsOpen() && !conn->Db()->InTransaction() &&
                        (OnServer(name) || (kOpenFilesCanBeRemoved && k.stamp.size >= 0)) &&
                        StillThere(k);
  // One kept connection per database and mode: a second one (two objects on one file) goes.
  bool taken = false;
  for (const Kept& other : cache.kept) taken |= other.name == name && other.read_only == read_only;
  if (!keepable || taken) {
    lock.unlock();
    Close(k);
    return;
  }
  cache.kept.push_back(std::move(k));
  if (!cache.closer_running) {
    cache.closer_running = true;
    std::thread(CloseIdle, &cache).detach();
  }
}

void Release(const String& name) {
  Cache& cache = Instance();
  std::vector<Kept> gone;
  {
    std::lock_guard lock(cache.mutex);
    std::erase_if(cache.kept, [&](Kept& k) {
      if (k.name != name) return false;
      gone.push_back(std::move(k));
      return true;
    });
  }
  for (const Kept& k : gone) Close(k);
}

}  // namespace kiv::log_connections
