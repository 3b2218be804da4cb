// Windows' own behaviour of the platform: the default folder from the registry, backslash
// names, sharing modes and byte-range locks, mapped files, and system texts of failed opens.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "dailylog/dailylog_support.h"
#include "dailylog/log_files.h"
#include "dailylog/log_repair.h"
#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log.h"
#include "platform/date.h"
#include "platform/file_map.h"
#include "platform/fs.h"
#include "support/raised.h"
#include "support/temp_dir.h"

// Last: its macros would rename the library's own constants.
#include <windows.h>

namespace kiv {
namespace {

using kivtest::RaisedBy;
using kivtest::TempDir;
using testing::ReadAll;
using testing::WriteAll;

constexpr wchar_t kVersionKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion";

// Sets (or, with nullptr, deletes) a value under the version key for one scope.
class RegistryValue {
 public:
  RegistryValue(const wchar_t* name, const wchar_t* text) : name_(name) {
    wchar_t old[MAX_PATH];
    DWORD bytes = sizeof old;
    had_ = RegGetValueW(HKEY_LOCAL_MACHINE, kVersionKey, name, RRF_RT_REG_SZ, nullptr, old,
                        &bytes) == ERROR_SUCCESS;
    if (had_) old_ = old;
    Set(text);
  }
  ~RegistryValue() { Set(had_ ? old_.c_str() : nullptr); }

 private:
  void Set(const wchar_t* text) {
    if (text) {
      const DWORD bytes = static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t));
      ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kVersionKey, name_, REG_SZ, text, bytes),
                ERROR_SUCCESS);
    } else {
      RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kVersionKey, name_);
    }
  }

  const wchar_t* name_;
  bool had_ = false;
  std::wstring old_;
};

TEST(WindowsNames, DefaultFolderPrefersTheX86ProgramFilesValue) {
  {
    RegistryValue x86(L"ProgramFilesDir (x86)", L"D:\\Apps (x86)");
    RegistryValue plain(L"ProgramFilesDir", L"D:\\Apps");
    EXPECT_EQ(DefaultLogFolder(), u"D:\\Apps (x86)\\Q&V\\Log");
  }
  RegistryValue x86(L"ProgramFilesDir (x86)", nullptr);
  RegistryValue plain(L"ProgramFilesDir", L"D:\\Apps\\");
  EXPECT_EQ(DefaultLogFolder(), u"D:\\Apps\\Q&V\\Log");
}

TEST(WindowsNames, PathsUseBackslashesAndAcceptSlashes) {
  KivLog log;
  EXPECT_EQ(log.LogFileName(u"App", u"C:\\Logs", DateSerial(2024, 3, 5)),
            u"C:\\Logs\\App_20240305");
  EXPECT_EQ(WithTrailingSeparator(u"C:\\Logs"), u"C:\\Logs\\");
  EXPECT_EQ(ParentFolder(u"C:\\Logs/sub\\a.ZLG"), u"C:\\Logs/sub");
  EXPECT_EQ(BaseName(u"C:\\Logs/sub/a.ZLG"), u"a.ZLG");
}

TEST(WindowsFiles, FailedOpensMapToRunTimeErrorsWithTheSystemsText) {
  TempDir dir;
  const String present = dir.File("present.ZLG");
  kivtest::WriteBytes(dir.FileU8("present.ZLG"), "x");
  struct Case {
    String path;
    int32_t number;
    DWORD code;
  } cases[] = {
      {dir.File("missing.ZLG"), 53, ERROR_FILE_NOT_FOUND},
      {dir.File("missing\\a.ZLG"), 76, ERROR_PATH_NOT_FOUND},
      {dir.Path(), 75, ERROR_ACCESS_DENIED},
  };
  for (const Case& c : cases) {
    auto e = RaisedBy([&] { File::Open(c.path, OpenOptions{Access::ReadWrite}); });
    ASSERT_TRUE(e) << ToUtf8(c.path);
    EXPECT_EQ(e->number, c.number) << ToUtf8(c.path);
    EXPECT_EQ(e->last_dll_error, static_cast<int32_t>(c.code)) << ToUtf8(c.path);
    const String text = SystemMessage(e->last_dll_error);
    EXPECT_FALSE(text.empty());
    EXPECT_NE(text.back(), u'\n');
  }
  // Case does not count in Windows' names: the listing finds the file whatever the mask's case,
  // and nothing that matches only through a short name.
  kivtest::WriteBytes(dir.FileU8("present.ZLGX"), "x");
  EXPECT_EQ(ListFiles(dir.File("*.zlg")), std::vector<String>{u"present.ZLG"});
  EXPECT_TRUE(File::Open(present, OpenOptions{Access::Read}).IsOpen());
}

TEST(WindowsFiles, OpensTheSharingModeRefusesWaitTheBoundedTimeThenRaise70) {
  // A reader that denies writers is refused by an exclusive holder, and by a writer that shares
  // the file but holds a byte-range lock on it: under such a lock each refused try used to cost
  // Wine's server a descriptor, until the server ran out and the open raised 67.
  const struct Holder {
    OpenOptions options;
    ShareLock range_lock;
  } holders[] = {
      {{Access::ReadWrite, true, false, ShareLock::Exclusive}, ShareLock::None},
      {{Access::ReadWrite, true}, ShareLock::Exclusive},
  };
  const OpenOptions reader{Access::Read, false, false, ShareLock::Shared};
  for (const Holder& h : holders) {
    TempDir dir;
    const String path = dir.File("day.ZLI");
    File holder = File::Open(path, h.options);
    holder.Lock(h.range_lock);
    const auto start = std::chrono::steady_clock::now();
    auto e = RaisedBy([&] { File::Open(path, reader); });
    const auto waited = std::chrono::steady_clock::now() - start;
    ASSERT_TRUE(e);
    EXPECT_EQ(e->number, 70);
    EXPECT_EQ(e->last_dll_error, ERROR_SHARING_VIOLATION);
    EXPECT_GE(waited, std::chrono::milliseconds(kLockWaitMs * 9 / 10));
    EXPECT_FALSE(RemoveFile(path));  // an open file is not removed: purge leaves it for later
    EXPECT_TRUE(FileExists(path));
    holder.Close();
    EXPECT_TRUE(File::Open(path, reader).IsOpen());
  }
}

TEST(WindowsFiles, LocksLieBeyondTheDataAndMappedFilesAreNotCut) {
  TempDir dir;
  const String path = dir.File("store.QVS");
  File a = File::Open(path, OpenOptions{Access::ReadWrite, true});
  File b = File::Open(path, OpenOptions{Access::ReadWrite});
  a.WriteAt(0, "abcdefgh", 8);
  a.Lock(ShareLock::Exclusive);
  EXPECT_FALSE(b.TryLock(ShareLock::Shared));
  char got[8] = {};
  EXPECT_EQ(b.ReadAt(0, got, 8), 8u);  // the lock keeps no reader from the data
  EXPECT_EQ(std::string(got, 8), "abcdefgh");
  b.WriteAt(8, "ij", 2);
  a.Lock(ShareLock::Shared);  // drops the exclusive lock and takes a shared one
  EXPECT_TRUE(b.TryLock(ShareLock::Shared));
  a.Unlock();
  b.Unlock();

  FileMap view = FileMap::Map(b, 10);
  EXPECT_EQ(RaisedBy([&] { a.Truncate(4); })->number, 70);
  view = FileMap();
  a.Truncate(4);
  EXPECT_EQ(a.Size(), 4);
}

// The second process of the tests below is this program again, running only the disabled test
// that holds a day's files as a writer of kept files does between writes: both open, the index's
// count mapped; and the index locked when asked, as during a write; until the file
// "<base>.release" appears.
constexpr char kHoldBase[] = "KIVTEST_HOLD_BASE";
constexpr char kHoldLocked[] = "KIVTEST_HOLD_LOCKED";

TEST(WindowsHolder, DISABLED_HoldDayFiles) {
  const String base = FromUtf8(std::getenv(kHoldBase));
  OpenOptions options{Access::ReadWrite, true};
  File data = File::Open(base + u".ZLG", options);
  File index = File::Open(base + u".ZLI", options);
  FileMap count = FileMap::Map(index, 4, true);
  if (std::getenv(kHoldLocked)) index.Lock(ShareLock::Exclusive);
  File::Open(base + u".ready", options);
  for (int i = 0; i < 2000 && !FileExists(base + u".release"); ++i) SleepMilliseconds(10);
}

// Starts the holder on base's files and waits until it holds them.
HANDLE StartHolder(const String& base, bool locked) {
  RemoveFile(base + u".ready");
  RemoveFile(base + u".release");
  SetEnvironmentVariableA(kHoldBase, ToUtf8(base).c_str());
  SetEnvironmentVariableA(kHoldLocked, locked ? "1" : nullptr);
  wchar_t self[MAX_PATH];
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::wstring command = L"\"" + std::wstring(self) +
                         L"\" --gtest_also_run_disabled_tests "
                         L"--gtest_filter=WindowsHolder.DISABLED_HoldDayFiles";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                      &startup, &process)) {
    return nullptr;
  }
  CloseHandle(process.hThread);
  for (int i = 0; i < 3000 && !FileExists(base + u".ready"); ++i) SleepMilliseconds(10);
  return process.hProcess;
}

// Lets the holder go and waits for its end; true when it ended well.
bool ReleaseHolder(HANDLE holder, const String& base) {
  File::Open(base + u".release", OpenOptions{Access::Write, true});
  const bool ended = WaitForSingleObject(holder, 20000) == WAIT_OBJECT_0;
  DWORD code = 1;
  GetExitCodeProcess(holder, &code);
  CloseHandle(holder);
  return ended && code == 0;
}

class WindowsProcesses : public testing::DailyLogTest {
 protected:
  // Writes the day of APP with one event in it, between the open and close markers.
  void WriteDay() {
    KivLog log;
    const int32_t id = log.EventLogOpen(u"APP", folder);
    ASSERT_FALSE(log.EventLogWrite(id, u"S", u"x"));
    ASSERT_FALSE(log.EventLogClose(id));
  }
};

TEST_F(WindowsProcesses, AWriterWaitsForTheHolderOfTheDaysFilesThenGetsIn) {
  const String base = Base(u"APP");
  KivLog log;
  const int32_t id = log.EventLogOpen(u"APP", folder);
  ASSERT_NE(id, 0);
  ASSERT_FALSE(log.EventLogWrite(id, u"S", u"before"));
  HANDLE holder = StartHolder(base, true);
  ASSERT_TRUE(holder);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(log.EventLogWrite(id, u"S", u"held"));
  EXPECT_EQ(Last_Error(), 70);
  EXPECT_GE(std::chrono::steady_clock::now() - start,
            std::chrono::milliseconds(kLockWaitMs * 9 / 10));
  // Released during the next write's wait: that write gets in.
  std::thread release([&] {
    SleepMilliseconds(kLockWaitMs / 4);
    EXPECT_TRUE(ReleaseHolder(holder, base));
  });
  EXPECT_FALSE(log.EventLogWrite(id, u"S", u"after"));
  release.join();
  ASSERT_FALSE(log.EventLogClose(id));
  std::vector<String> raw;
  auto info = testing::InfoFor(base);
  KivLog reader;
  EXPECT_FALSE(reader.EventLogRead(info, 1, 10));
  for (const auto& e : testing::Events(*info)) raw.push_back(e->EvRawData());
  EXPECT_EQ(raw, (std::vector<String>{u"Open", u"before", u"after", u"Closed"}));
}

TEST_F(WindowsProcesses, PurgeLeavesADayAnotherProcessHoldsOpen) {
  const String base = Base(u"APP");
  WriteDay();
  KivLog log;
  HANDLE holder = StartHolder(base, false);
  ASSERT_TRUE(holder);
  Date before = DateSerial(2024, 3, 6);
  EXPECT_TRUE(log.EventLogPurgeEx(before, u"APP", folder));
  EXPECT_TRUE(FileExists(base + u".ZLG"));
  EXPECT_TRUE(ReleaseHolder(holder, base));
  EXPECT_FALSE(log.EventLogPurgeEx(before, u"APP", folder));
  EXPECT_FALSE(FileExists(base + u".ZLG"));
  EXPECT_FALSE(FileExists(base + u".ZLI"));
}

// Repair works in place: it cuts the data file and rewrites the index beside a process that
// keeps both open (renaming new files over them would fail), and waits for one that is writing.
TEST_F(WindowsProcesses, RepairWorksInPlaceBesideAProcessThatKeepsTheFilesOpen) {
  const String base = Base(u"APP");
  WriteDay();
  const std::string whole = ReadAll(base + u".ZLG");
  const std::string cut = "UNK=5\r\nDAT=2024-03-05";  // a record a crash cut short
  WriteAll(base + u".ZLG", whole + cut);

  HANDLE holder = StartHolder(base, true);
  ASSERT_TRUE(holder);
  LogRepair repair;
  EXPECT_TRUE(RebuildLogIndex(*testing::InfoFor(base), repair));  // writing: wait, then 70
  EXPECT_EQ(Last_Error(), 70);
  EXPECT_EQ(ReadAll(base + u".ZLG"), whole + cut);
  ASSERT_TRUE(ReleaseHolder(holder, base));

  holder = StartHolder(base, false);
  ASSERT_TRUE(holder);
  const std::string index = ReadAll(base + u".ZLI");
  ASSERT_FALSE(RebuildLogIndex(*testing::InfoFor(base), repair));
  EXPECT_EQ(repair.cut_bytes, static_cast<int64_t>(cut.size()));
  EXPECT_EQ(repair.after, 3);
  EXPECT_EQ(ReadAll(base + u".ZLG"), whole);
  EXPECT_EQ(ReadAll(base + u".ZLI"), index);
  EXPECT_EQ(ReadAll(repair.data_backup), whole + cut);
  EXPECT_TRUE(ReleaseHolder(holder, base));
}

}  // namespace
}  // namespace kiv
