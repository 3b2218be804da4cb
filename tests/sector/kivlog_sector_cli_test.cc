// kivlog sector, run as a user runs it.
#include "sector_support.h"
#include "support/kivlog_tool.h"

namespace kiv::testing {
namespace {

class KivlogSectorCliTest : public SectorTest {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(tool_)) GTEST_SKIP() << "kivlog not built";
  }

  // Runs kivlog with input on its standard input; returns its standard output.
  std::string Run(const std::string& args, const std::string& input, int& rc) {
    kivtest::WriteBytes(dir.FileU8("input"), input);
    return kivtest::RunShell(tool_ + " " + args + " < '" + dir.FileU8("input") + "' 2>/dev/null",
                             &rc);
  }

  const std::string tool_ = kivtest::KivlogPath();
};

TEST_F(KivlogSectorCliTest, PutGetListRemoveCompactVerify) {
  const std::string store = ToUtf8(base);
  int rc = -1;
  Run("sector create " + store + " --sector-size 128", "", rc);
  ASSERT_EQ(rc, 0);
  const std::string binary("\x00\x01\xff\r\n end", 8);
  EXPECT_EQ(Run("sector put " + store, binary, rc), "1\n");
  EXPECT_EQ(Run("sector put " + store + " --text", "città €", rc), "2\n");
  EXPECT_EQ(Run("sector put " + store, std::string(1000, 'x'), rc), "3\n");
  EXPECT_EQ(Run("sector get " + store + " 1", "", rc), binary);
  EXPECT_EQ(Run("sector get " + store + " 2", "", rc), "città €");

  // The text record is UTF-16 inside: the library reads it back as the same String.
  KivSector s;
  ASSERT_FALSE(s.SectorOpen(base, true));
  String text;
  ASSERT_FALSE(s.SectorRead(2, text));
  EXPECT_EQ(text, u"città €");

  auto list = nlohmann::json::parse(Run("--json sector ls " + store, "", rc));
  ASSERT_EQ(list["records"].size(), 3u);
  EXPECT_EQ(list["records"][1]["id"], 2);
  EXPECT_EQ(list["records"][1]["bytes"], 14);
  EXPECT_EQ(list["records"][2]["bytes"], 1000);

  Run("sector rm " + store + " 1 3", "", rc);
  EXPECT_EQ(rc, 0);
  Run("sector get " + store + " 3", "", rc);
  EXPECT_EQ(rc, 1);
  auto compact = nlohmann::json::parse(Run("--json sector compact " + store, "", rc));
  EXPECT_EQ(compact["sector_bytes_after"], 128);
  auto verify = nlohmann::json::parse(Run("--json sector verify " + store, "", rc));
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(verify["records"], 1);
  EXPECT_TRUE(verify["damaged"].empty());

  std::string sectors = kivtest::ReadBytes(File(".QVS"));
  sectors[3] ^= 0x20;
  Overwrite(File(".QVS"), sectors);
  verify = nlohmann::json::parse(Run("--json sector verify " + store, "", rc));
  EXPECT_EQ(rc, 2);
  EXPECT_EQ(verify["damaged"], nlohmann::json::array({2}));
}

}  // namespace
}  // namespace kiv::testing
