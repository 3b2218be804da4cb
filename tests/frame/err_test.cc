// Err: what a client raises and reads back, and what Set_Error takes from it.
#include "kivdbxt/err.h"

#include <gtest/gtest.h>

#include <thread>

#include "kivdbxt/error.h"

namespace kiv {
namespace {

TEST(Err, RaiseFillsTheRunTimeTextAndKeepsWhatIsNotGiven) {
  ErrObject& err = Err();
  err.Clear();
  err.Raise(53);
  EXPECT_EQ(err.Number(), 53);
  EXPECT_EQ(err.Description(), u"File not found");
  EXPECT_EQ(err.Source(), u"KivDbXtOle");
  err.Raise(20000, Variant(u"Client.Step"), Variant(u"it broke"), Variant(u"help.hlp"),
            Variant(int32_t{42}));
  err.Raise(20001);  // the fields already set stay, as the run time's Raise keeps them
  EXPECT_EQ(err.Number(), 20001);
  EXPECT_EQ(err.Source(), u"Client.Step");
  EXPECT_EQ(err.Description(), u"it broke");
  EXPECT_EQ(err.HelpFile(), u"help.hlp");
  EXPECT_EQ(err.HelpContext(), 42);
  err.Clear();
  EXPECT_EQ(err.Number(), 0);
  EXPECT_EQ(err.Source(), u"");
  err.Raise(31337);
  EXPECT_EQ(err.Description(), u"Application-defined or object-defined error");
  err.Clear();
}

TEST(Err, SetErrorTakesEveryFieldAndClearsIt) {
  Err().Raise(5, Variant(u"Client"), Variant(u"bad call"), Variant(u"h.chm"), Variant(int32_t{77}));
  Set_Error(Variant::Missing(), Variant(u"Script.Run"));
  ErrorRecord r = LastErrorRecord();
  EXPECT_EQ(r.Number, 5);
  EXPECT_EQ(r.Source, u"Script.Run");
  EXPECT_EQ(r.Description, u"bad call");
  EXPECT_EQ(r.HelpFile, u"h.chm");
  EXPECT_EQ(r.HelpContext, u"77");
  EXPECT_EQ(Err().Number(), 0);  // taken, so cleared
}

TEST(Err, IsPerThread) {
  Err().Raise(13);
  int32_t seen = -1;
  std::thread([&] {
    seen = Err().Number();
    Err().Raise(52);
  }).join();
  EXPECT_EQ(seen, 0);
  EXPECT_EQ(Err().Number(), 13);
  Err().Clear();
}

}  // namespace
}  // namespace kiv
