// The recorded error: Set_Error's flags, the guard of public operations, per-thread storage.
#include <gtest/gtest.h>

#include <thread>

#include "frame/error.h"
#include "frame/guard.h"
#include "frame/run_error.h"
#include "kivdbxt/error.h"
#include "support/last_error.h"

namespace kiv {
namespace {

// Makes a run-time error current, as a failing statement does before the handler runs.
void Fail(int32_t number, String description, int32_t dll = 0) {
  try {
    throw Error{number, std::move(description), dll};
  } catch (...) {
    CaptureCurrentException();
  }
}

TEST(SetError, HandlerFormRecordsRunTimeErrorUnderItsSource) {
  Fail(53, u"File not found", 2);
  Set_Error(Variant::Missing(), Variant(u"QvDbXtMod.Blob_Init"));
  ErrorRecord r = LastErrorRecord();
  EXPECT_EQ(r.Number, 53);
  EXPECT_EQ(r.Source, u"QvDbXtMod.Blob_Init");
  EXPECT_EQ(r.Description, u"File not found");
  EXPECT_EQ(r.HelpContext, u"0");
  EXPECT_EQ(r.LastDllError, 2);
  EXPECT_EQ(Last_Error(), 53);
  // Reading the run-time error clears it: a second record without arguments finds nothing.
  Set_Error();
  EXPECT_EQ(Last_Error(), 0);
  EXPECT_EQ(LastErrorRecord().Description, u"");
}

TEST(SetError, Number65535IsRecordedAsZeroAndGivenArgumentsReplaceCaptured) {
  Fail(65535, u"odd");
  Set_Error(Variant::Missing(), Variant(u"X.Y"));
  EXPECT_EQ(Last_Error(), 0);
  EXPECT_EQ(LastErrorRecord().Description, u"odd");

  Fail(5, u"Invalid procedure call or argument");
  Set_Error(Variant(int32_t{20000}), Variant(u"KivLog.EventLogWrite"), Variant(u"mine"),
            Variant(u"help.chm"), Variant(u"42"), Variant(int32_t{7}));
  ErrorRecord r = LastErrorRecord();
  EXPECT_EQ(r.Number, 20000);
  EXPECT_EQ(r.Description, u"mine");  // replaces entirely, nothing of the captured text
  EXPECT_EQ(r.HelpFile, u"help.chm");
  EXPECT_EQ(r.HelpContext, u"42");
  EXPECT_EQ(r.LastDllError, 7);
  EXPECT_EQ(r.Source, u"KivLog.EventLogWrite");
}

TEST(SetError, Flags) {
  // 8: the current run-time error is neither read nor cleared.
  Fail(13, u"Type mismatch");
  Set_Error(Variant(int32_t{9}), Variant(u"S"), Variant::Missing(), Variant::Missing(),
            Variant::Missing(), Variant::Missing(), SETERR_NOERR);
  EXPECT_EQ(Last_Error(), 9);
  EXPECT_EQ(LastErrorRecord().Description, u"");
  EXPECT_EQ(CurrentRunError().number, 13);

  // 2: the system's text for LastDllError follows the description after CR LF.
  Set_Error(Variant::Missing(), Variant(u"S"), Variant(u"Open failed"), Variant::Missing(),
            Variant::Missing(), Variant(int32_t{2}), SETERR_APPENDSYSMSG);
  EXPECT_EQ(LastErrorRecord().Description, u"Open failed\r\n" + SystemMessage(2));
  EXPECT_EQ(Last_Error(), 13);  // taken from the run-time error, which is now cleared
  EXPECT_EQ(CurrentRunError().number, 0);

  // 4: arguments go to the recorder unchanged; no run-time error is read, no text appended.
  Fail(70, u"Permission denied");
  int32_t flags = SETERR_PASSTHROUGH | SETERR_APPENDSYSMSG;
  int32_t option = 3;
  Set_Error(Variant(int32_t{65535}), Variant(u"P"), Variant(u"d"), Variant::Missing(),
            Variant::Missing(), Variant(int32_t{2}), flags, Variant(u"extra"), option);
  ErrorRecord r = LastErrorRecord();
  EXPECT_EQ(r.Number, 65535);
  EXPECT_EQ(r.Description, u"d");
  EXPECT_EQ(r.Source, u"P");
  EXPECT_EQ(CurrentRunError().number, 70);
  EXPECT_EQ(flags, SETERR_PASSTHROUGH | SETERR_APPENDSYSMSG);
  EXPECT_EQ(option, 3);
}

TEST(Guard, ReturnsErrorValueRecordsSourceAndKeepsFirstErrorThroughCleanup) {
  ClearLastError();
  bool cleaned = false;
  bool result = Guard(
      u"QvDbXtMod.Blob_Init", true, [&]() -> bool { Raise(62); },
      [&] {
        cleaned = true;
        // A clean-up that fails must not replace the error being reported.
        Guard(u"Other.Cleanup", true, []() -> bool { Raise(5); });
        Raise(76);
      });
  EXPECT_TRUE(result);
  EXPECT_TRUE(cleaned);
  kivtest::ExpectLastError(62, u"QvDbXtMod.Blob_Init", u"Input past end of file");

  // Success leaves the recorded error alone and returns the body's value.
  EXPECT_EQ(Guard(u"X.Y", -1, [] { return 7; }), 7);
  EXPECT_EQ(Last_Error(), 62);

  // Library errors, foreign exceptions and allocation failures are all caught.
  EXPECT_EQ(
      Guard(u"KivLog.Open", String(u"bad"), []() -> String { RaiseLibrary(u"Missing AppId."); }),
      u"bad");
  EXPECT_EQ(LastErrorRecord().Number, 20000);
  EXPECT_EQ(LastErrorRecord().Description, u"Missing AppId.");
  EXPECT_TRUE(Guard(u"A.B", true, []() -> bool { throw std::bad_alloc(); }));
  EXPECT_EQ(Last_Error(), 7);
  EXPECT_TRUE(Guard(u"A.B", true, []() -> bool { throw std::runtime_error("boom"); }));
  EXPECT_EQ(Last_Error(), 51);
  EXPECT_EQ(LastErrorRecord().Description, u"Internal error: boom");
}

TEST(Guard, CheckRaisesTheInnerErrorUnderTheOuterSource) {
  auto inner = [] { return Guard(u"Inner.Op", true, []() -> bool { RaiseLibrary(u"deep"); }); };
  EXPECT_TRUE(Guard(u"Outer.Op", true, [&] {
    Check(inner());
    return false;
  }));
  EXPECT_EQ(LastErrorRecord().Number, 20000);
  EXPECT_EQ(LastErrorRecord().Description, u"deep");
  EXPECT_EQ(LastErrorRecord().Source, u"Outer.Op");
  EXPECT_FALSE(Guard(u"Outer.Op", true, [&] {
    Check(false);
    return false;
  }));
}

TEST(ErrorState, IsPerThread) {
  Fail(9, u"Subscript out of range");
  Set_Error(Variant::Missing(), Variant(u"Main.Thread"));
  int32_t other_before = -1, other_after = -1;
  std::thread t([&] {
    other_before = Last_Error();
    Guard(u"T.T", true, []() -> bool { Raise(53); });
    other_after = Last_Error();
  });
  t.join();
  EXPECT_EQ(other_before, 0);
  EXPECT_EQ(other_after, 53);
  EXPECT_EQ(kivtest::LastRecorded(), kivtest::Recorded(9, u"Main.Thread"));
}

}  // namespace
}  // namespace kiv
