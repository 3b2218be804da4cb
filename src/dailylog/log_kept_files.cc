// The files of a log opened with KIVLIOPT_KEEPOPEN: kept open between writes, locked per write.
//
// A write takes the index's lock (the writers' turnstile), then looks once at each path: a path
// that no longer names the kept file (a purge or a rename by another process, or a symlink put in
// its place) makes the writer open the day's files anew. Sizes equal to what this writer's last
// write left mean that no other writer came since: every writer leaves the files in step and
// only ever makes them longer, and a crash part way through leaves them longer too, so the
// repair before the append has nothing to do and is skipped.
//
// Such a write of one event only appends, and takes no lock on the data file: the readers that
// hold it took their view of the day before the write began, and each of them already takes a
// count beyond the entries, an entry at or past the end of the data file and a last record
// without its END line for not written, as after a crash; so a reader sees the day either before
// the append or after it. Any other write waits for the readers on the data file's lock, as an
// open does, since putting the files back in step may cut them.
#include "dailylog/log_files.h"

namespace kiv {

bool LockKeptFiles(OpenLogEntry& log, bool single) {
  KivLogInfo& info = *log.info;
  KeptFiles& kept = log.kept;
  const LogPaths& paths = log.Paths();
  if (kept.known && SameName(kept.name, info.FileName())) {
    kept.files.index.Lock(ShareLock::Exclusive);
    const FileStamp index = PathStamp(paths.index);
    const FileStamp data = PathStamp(paths.data);
    if (index.SameFile(kept.index) && data.SameFile(kept.data)) {
      kept.files.index_size = index.size;
      kept.files.data_size = data.size;
      const bool unchanged = index.size == kept.index.size && data.size == kept.data.size;
      kept.data_locked = !(unchanged && single);
      if (kept.data_locked) kept.files.data.Lock(ShareLock::Exclusive);
      if (unchanged) {
        info.Events(kept.events);
        return true;
      }
      ReadEventCount(info, kept.files);  // another process wrote: count as an open does
      return false;
    }
  }
  kept.Close();
  OpenLogFiles(info, paths, kept.files, false, false);
  kept.data_locked = true;
  kept.name = info.FileName();
  kept.files.count = FileMap::Map(kept.files.index, 4, true);
  kept.index = kept.files.index.Stamp();
  kept.data = kept.files.data.Stamp();
  kept.known = true;
  return false;
}

void UnlockKeptFiles(OpenLogEntry& log) {
  KeptFiles& kept = log.kept;
  kept.index.size = kept.files.index_size;
  kept.data.size = kept.files.data_size;
  kept.events = log.info->Events();
  // The data file first: a writer waiting in the turnstile takes it next.
  if (kept.data_locked) kept.files.data.Unlock();
  kept.files.index.Unlock();
}

}  // namespace kiv
