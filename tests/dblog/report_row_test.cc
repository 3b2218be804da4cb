// What a report leaves in the file, read back with SQLite itself: each field's storage class and
// bytes, the LASTCHANGE row and the row counter.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log_file.h"
#include "log_file_fixture.h"
#include "sqlite_rows.h"

namespace kiv {
namespace {

// The file's own rows: SQLite only.
class ReportRow : public KivLogFileTest {};
INSTANTIATE_TEST_SUITE_P(Sqlite, ReportRow, testing::Values(kivtest::Db::kSqlite), kivtest::DbName);

constexpr const char* kRowQuery =
    "SELECT typeof(DATE) || ':' || DATE, typeof(TYPE) || ':' || TYPE, typeof(CATEGORY) || ':' || "
    "CATEGORY, typeof(ID) || ':' || ID, typeof(UNK), USER, COMPUTER, SOURCE, typeof(SERVER) || ':' "
    "|| SERVER, typeof(RAWDATA) || ':' || hex(RAWDATA), UNK FROM EVENTS WHERE SOURCE <> "
    "'KIVEVENTLOG' ORDER BY rowid";

TEST_P(ReportRow, EachFieldIsStoredWithItsTypeAndBytes) {
  CreateOpen(1000, KLFWM_DONTOVERWRITE, true);
  Date now = 45000.75;
  const ClockScope clock(&now);
  // A one-byte text, a text with a character above 255, no raw data at all; a category longer
  // than its field.
  ASSERT_FALSE(log.ReportEvent(u"S1", u"Ab\u00e9", 4, u"C", 9, u"u", u"pc", u"SV"));
  ASSERT_FALSE(
      log.ReportEventEx(u"S2", u"\u20ac", RWDT_BINARY, 1, String(300, u'\u00e8'), -5, u"u", u"pc"));
  ASSERT_FALSE(log.ReportEvent(u"S3", String(), 2, String(), 0, u"u", u"pc"));
  const auto rows = SqlRows(file, kRowQuery);
  ASSERT_EQ(rows.size(), 3u);

  const std::vector<std::string> first = {"real:45000.75", "integer:4",  "text:C", "integer:9",
                                          "integer",       "u",          "pc",     "S1",
                                          "text:SV",       "blob:4162E9"};
  EXPECT_EQ(std::vector<std::string>(rows[0].begin(), rows[0].end() - 1), first);

  std::string cut;
  for (int i = 0; i < 255; ++i) cut += "\u00e8";
  EXPECT_EQ(rows[1][2], "text:" + cut);  // cut to 255 characters, stored as UTF-8
  EXPECT_EQ(rows[1][1], "integer:1");
  EXPECT_EQ(rows[1][3], "integer:-5");
  EXPECT_EQ(rows[1][8], "text:");          // an empty text is a text, not Null
  EXPECT_EQ(rows[1][9], "blob:4200AC20");  // the letter, then two bytes per character
  EXPECT_EQ(rows[2][9], "null:");          // no raw data: Null, not an empty value
  EXPECT_EQ(rows[2][2], "text:");

  // LASTCHANGE holds the UNK of the last report, in one row; the row counter follows the table.
  const auto last = SqlRows(file, "SELECT VALUE FROM PARMS WHERE KEY = 'LASTCHANGE'");
  ASSERT_EQ(last.size(), 1u);
  EXPECT_EQ(last[0][0], rows[2][10]);
  EXPECT_EQ(SqlRows(file,
                    "SELECT n = (SELECT count(*) FROM EVENTS) FROM MSysRowCounts WHERE name = "
                    "'EVENTS'"),
            (std::vector<std::vector<std::string>>{{"1"}}));
}

}  // namespace
}  // namespace kiv
