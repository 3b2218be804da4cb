// The files of a log opened with KIVLIOPT_KEEPOPEN: kept open between writes, locked per write.
//
// A write takes the index's lock (the writers' turnstile), then makes sure the files are still
// the day's and sees whether anyone wrote since this writer's last write. Files that no longer
// have the day's names (a purge or a rename by another process, or a symlink put in their place)
// make the writer open the day's files anew. Sizes equal to what this writer's last write left
// mean that no other writer came since: every writer leaves the files in step and only ever
// makes them longer, and a crash part way through leaves them longer too, so the repair before
// the append has nothing to do and is skipped.
//
// Most writes find nothing changed, and find it with one system call instead of a look at each
// path: the folder's stamp, unchanged since the last look at the paths, says that no name in it
// was added, removed or replaced (the stamp is trusted only once the folder's last change is
// older than a change of the index, so that a later change cannot share its time); the count,
// read through its view, is the one this writer wrote, so no other write finished; and the data
// file, through a view of its end, still ends with this writer's last line end and has nothing
// after it, so no other write began. Anything else, or a system that cannot tell, and the paths
// are looked at as before.
//
// Such a write of one event only appends, and takes no lock on the data file: the readers that
// hold it took their view of the day before the write began, and each of them already takes a
// count beyond the entries, an entry at or past the end of the data file and a last record
// without its END line for not written, as after a crash; so a reader sees the day either before
// the append or after it. Any other write waits for the readers on the data file's lock, as an
// open does, since putting the files back in step may cut them.
#include "dailylog/log_files.h"

namespace kiv {
namespace {

// The part of the data file kept in view: where this writer's appends go next.
constexpr int64_t kTailView = int64_t{1} << 20;

// Whether the files are exactly as this writer's last write left them, told without looking at
// their paths; false when that cannot be told so.
bool Untouched(KeptFiles& kept, const LogPaths& paths) {
  const int64_t end = kept.data.size;
  // At a page boundary the byte after the end lies in a page past the file's end: not touched.
  if (!kept.folder_settled || end % 4096 == 0 || !kept.tail.IsMapped()) return false;
  unsigned char count[4];
  if (!kept.files.count.Copy(0, count, 4) || DecodeIndexValue(count) != kept.events) return false;
  char last[2];
  if (!kept.tail.Copy(end - 1 - kept.tail.Offset(), last, 2) || last[0] != '\n' || last[1] != 0) {
    return false;
  }
  const FileStamp folder = PathStamp(paths.folder);
  return folder.SameFile(kept.folder) && folder.changed == kept.folder.changed;
}

// Notes the folder's stamp, taken before `index` (the index's, just looked at): the stamp can be
// trusted when the folder last changed before the index did, since any change after this look
// comes later than that.
void NoteFolder(KeptFiles& kept, const FileStamp& folder, const FileStamp& index) {
  kept.folder = folder;
  kept.folder_settled = folder.size >= 0 && folder.changed != 0 && folder.changed < index.changed;
}

// Under the turnstile: whether the kept files are still the day's, and their sizes now (in
// kept.files) and whether those are the sizes this writer left.
enum class KeptState { kGone, kChanged, kUnchanged };
KeptState CheckKept(KeptFiles& kept, const LogPaths& paths) {
  if (Untouched(kept, paths)) {
    kept.files.index_size = kept.index.size;
    kept.files.data_size = kept.data.size;
    return KeptState::kUnchanged;
  }
  // A system that cannot keep a view of the data file's end has no use for the folder's stamp.
  const FileStamp folder = kept.tail.IsMapped() ? PathStamp(paths.folder) : FileStamp{};
  const FileStamp index = PathStamp(paths.index);
  const FileStamp data = PathStamp(paths.data);
  if (!index.SameFile(kept.index) || !data.SameFile(kept.data)) return KeptState::kGone;
  NoteFolder(kept, folder, index);
  kept.files.index_size = index.size;
  kept.files.data_size = data.size;
  return index.size == kept.index.size && data.size == kept.data.size ? KeptState::kUnchanged
                                                                      : KeptState::kChanged;
}

}  // namespace

bool LockKeptFiles(OpenLogEntry& log, bool single) {
  KivLogInfo& info = *log.info;
  KeptFiles& kept = log.kept;
  const LogPaths& paths = log.Paths();
  if (kept.known && SameName(kept.name, info.FileName())) {
    kept.files.index.Lock(ShareLock::Exclusive);
    const KeptState state = CheckKept(kept, paths);
    if (state != KeptState::kGone) {
      const bool unchanged = state == KeptState::kUnchanged;
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
  // The view of the data file's end follows the appends, a large step at a time.
  const int64_t end = kept.data.size;
  if (end > 0 && (!kept.tail.IsMapped() || kept.tail.Cut() || end - 1 < kept.tail.Offset() ||
                  end + 1 > kept.tail.Offset() + kept.tail.Length())) {
    kept.tail = FileMap::MapWindow(kept.files.data, end - 1, kTailView);
  }
}

}  // namespace kiv
