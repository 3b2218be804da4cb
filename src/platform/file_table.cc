#include "platform/file_table.h"

#include <cstring>
#include <memory>
#include <mutex>

#include "frame/error.h"
#include "platform/rt_errors.h"
#include "platform/text_codec.h"

namespace kiv {
namespace {

constexpr size_t kReadBuffer = 64 * 1024;

struct OpenFile {
  File file;
  FileMode mode = FileMode::Input;
  int64_t pos = 0;  // 0-based offset of the next read or write
  std::string buf;  // read-ahead of text input
  int64_t buf_start = 0;

  bool Buffered(int64_t at) const {
    return at >= buf_start && at < buf_start + static_cast<int64_t>(buf.size());
  }
  // Loads the read-ahead so that it covers `at`. Walking backwards, the window is placed to end
  // where the previous one began, so a reader going back record by record reads each byte once.
  void Fill(int64_t at) {
    int64_t start = at;
    if (!buf.empty() && at < buf_start && buf_start - at < static_cast<int64_t>(kReadBuffer)) {
      start = std::max<int64_t>(0, buf_start - static_cast<int64_t>(kReadBuffer));
    }
    buf.resize(kReadBuffer);
    buf.resize(file.ReadAt(start, buf.data(), kReadBuffer));
    buf_start = start;
  }
  // The byte at `at`, or -1 at the end of the file.
  int Peek(int64_t at) {
    if (!Buffered(at)) Fill(at);
    if (!Buffered(at)) return -1;
    return static_cast<uint8_t>(buf[static_cast<size_t>(at - buf_start)]);
  }
};

std::mutex table_mutex;
std::unique_ptr<OpenFile> table[kMaxFileNumber + 1];

OpenFile& Lookup(int32_t number) {
  std::lock_guard<std::mutex> lock(table_mutex);
  if (number < 1 || number > kMaxFileNumber || !table[number]) Raise(kErrBadFileNumber);
  return *table[number];
}

std::unique_ptr<OpenFile> MakeEntry(File file, FileMode mode) {
  auto entry = std::make_unique<OpenFile>();
  entry->file = std::move(file);
  entry->mode = mode;
  if (mode == FileMode::Append) entry->pos = entry->file.Size();
  return entry;
}

std::unique_ptr<OpenFile> OpenEntry(const String& path, FileMode mode, ShareLock lock,
                                    Access access) {
  OpenOptions options;
  options.lock = lock;
  switch (mode) {
    case FileMode::Input:
      options.access = Access::Read;
      break;
    case FileMode::Output:
      options = {Access::Write, true, true, lock};
      break;
    case FileMode::Append:
      options = {Access::Write, true, false, lock};
      break;
    case FileMode::Binary:
      options = {access, access != Access::Read, false, lock};
      break;
  }
  return MakeEntry(File::Open(path, options), mode);
}

int32_t LowestFree() {
  for (int32_t n = 1; n <= kMaxFileNumber; ++n) {
    if (!table[n]) return n;
  }
  Raise(kErrTooManyFiles);
}

// Puts an entry under the lowest free number.
int32_t Enter(std::unique_ptr<OpenFile> entry) {
  std::lock_guard<std::mutex> guard(table_mutex);
  int32_t number = LowestFree();
  table[number] = std::move(entry);
  return number;
}

void RequireText(const OpenFile& f, bool output) {
  bool ok = output ? (f.mode == FileMode::Output || f.mode == FileMode::Append)
                   : f.mode == FileMode::Input;
  if (!ok) Raise(kErrBadFileMode);
}

int64_t At(const OpenFile& f, int64_t position) {
  if (position < 0) Raise(kErrBadRecordNumber);
  return position == 0 ? f.pos : position - 1;
}

}  // namespace

int32_t FreeFile() {
  std::lock_guard<std::mutex> lock(table_mutex);
  return LowestFree();
}

void FileOpen(int32_t number, const String& path, FileMode mode, ShareLock lock, Access access) {
  {
    std::lock_guard<std::mutex> guard(table_mutex);
    if (number < 1 || number > kMaxFileNumber) Raise(kErrBadFileNumber);
    if (table[number]) Raise(kErrFileAlreadyOpen);
  }
  auto entry = OpenEntry(path, mode, lock, access);
  std::lock_guard<std::mutex> guard(table_mutex);
  if (table[number]) Raise(kErrFileAlreadyOpen);
  table[number] = std::move(entry);
}

int32_t FileOpenNext(const String& path, FileMode mode, ShareLock lock, Access access) {
  return Enter(OpenEntry(path, mode, lock, access));
}

int32_t FileAdopt(File file, FileMode mode) { return Enter(MakeEntry(std::move(file), mode)); }

void FileClose(int32_t& number) {
  if (number <= 0) return;
  std::unique_ptr<OpenFile> entry;
  {
    std::lock_guard<std::mutex> lock(table_mutex);
    if (number <= kMaxFileNumber) entry = std::move(table[number]);
  }
  number = 0;
}

String LineInput(int32_t number) {
  String line;
  LineInput(number, line);
  return line;
}

void LineInput(int32_t number, String& line) {
  std::string bytes;
  LineInputBytes(number, bytes);
  line = FromCp1252(bytes);
}

void LineInputBytes(int32_t number, std::string& line) {
  OpenFile& f = Lookup(number);
  RequireText(f, false);
  if (f.Peek(f.pos) < 0) Raise(kErrInputPastEnd);
  line.clear();
  for (;;) {
    if (!f.Buffered(f.pos)) f.Fill(f.pos);
    if (!f.Buffered(f.pos)) return;  // last line without an end
    const char* data = f.buf.data() + (f.pos - f.buf_start);
    size_t avail = f.buf.size() - static_cast<size_t>(f.pos - f.buf_start);
    const void* cr = std::memchr(data, '\r', avail);
    size_t n = cr ? static_cast<size_t>(static_cast<const char*>(cr) - data) : avail;
    line.append(data, n);
    f.pos += static_cast<int64_t>(n);
    if (cr) {
      ++f.pos;
      if (f.Peek(f.pos) == '\n') ++f.pos;
      return;
    }
  }
}

void PrintLine(int32_t number, StringView text) {
  std::string bytes;
  bytes.reserve(text.size() + 2);
  AppendCp1252(text, bytes);
  bytes += "\r\n";
  WriteText(number, bytes);
}

void WriteText(int32_t number, std::string_view bytes) {
  OpenFile& f = Lookup(number);
  RequireText(f, true);
  f.file.WriteAt(f.pos, bytes.data(), bytes.size());
  f.pos += static_cast<int64_t>(bytes.size());
}

void FileSeek(int32_t number, int64_t position) {
  OpenFile& f = Lookup(number);
  if (position < 1) Raise(kErrBadRecordNumber);
  f.pos = position - 1;
}

int64_t FileLoc(int32_t number) { return Lookup(number).pos + 1; }

int64_t FileLof(int32_t number) { return Lookup(number).file.Size(); }

bool FileEof(int32_t number) {
  OpenFile& f = Lookup(number);
  return f.pos >= f.file.Size();
}

std::string GetBytes(int32_t number, int64_t position, size_t count) {
  OpenFile& f = Lookup(number);
  if (f.mode != FileMode::Binary) Raise(kErrBadFileMode);
  int64_t at = At(f, position);
  std::string out(count, '\0');
  if (f.file.ReadAt(at, out.data(), count) != count) Raise(kErrInputPastEnd);
  f.pos = at + static_cast<int64_t>(count);
  return out;
}

void PutBytes(int32_t number, int64_t position, std::string_view bytes) {
  OpenFile& f = Lookup(number);
  if (f.mode != FileMode::Binary) Raise(kErrBadFileMode);
  int64_t at = At(f, position);
  f.file.WriteAt(at, bytes.data(), bytes.size());
  f.pos = at + static_cast<int64_t>(bytes.size());
}

int32_t GetLong(int32_t number, int64_t position) {
  std::string b = GetBytes(number, position, 4);
  uint32_t v = static_cast<uint8_t>(b[0]) | static_cast<uint32_t>(static_cast<uint8_t>(b[1])) << 8 |
               static_cast<uint32_t>(static_cast<uint8_t>(b[2])) << 16 |
               static_cast<uint32_t>(static_cast<uint8_t>(b[3])) << 24;
  return static_cast<int32_t>(v);
}

void PutLong(int32_t number, int64_t position, int32_t value) {
  uint32_t v = static_cast<uint32_t>(value);
  char b[4] = {static_cast<char>(v), static_cast<char>(v >> 8), static_cast<char>(v >> 16),
               static_cast<char>(v >> 24)};
  PutBytes(number, position, std::string_view(b, 4));
}

}  // namespace kiv
