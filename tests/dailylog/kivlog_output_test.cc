// What kivlog prints, byte for byte, for a day holding every kind of record.
#include "kivlog_cli_support.h"

namespace kiv::testing {
namespace {

// One record's lines, each ended by CR LF.
std::string Block(const std::vector<std::string>& lines) {
  std::string out;
  for (const std::string& l : lines) out += l + "\r\n";
  return out;
}

class KivlogOutputTest : public KivlogCliTest {
 protected:
  // Nine entries: Windows-1252 text over two raw lines, UTF-8 text, binary raw data, a date
  // without a time, CSV's special characters, empty raw lines; then a record out of step, an
  // entry past the data file, and one more sound record after them.
  void MakeDay() {
    const std::vector<std::string> records = {
        RecordBytes(
            "-7", "2024-03-05 10:00:00",
            Block({"SRC=Caf\xe9", "TYP=1", "CAT=a,b", "EID=9", "USR=ann", "COM=pc", "SVR=srv",
                   "DTP=0", "RWD=line \"one\" \x80", "RWD=tab\there \\ \x01\x7f end"})),
        RecordBytes("0", "2024-03-05 11:30:05",
                    Block({"SRC=KIVLOG", "TYP=4", "CAT=", "EID=0", "USR=", "COM=", "SVR=", "DTP=0",
                           "RWD=caf\xc3\xa9 \xe2\x98\x83 \xf0\x9f\x98\x80"})),
        RecordBytes("3", "2024-03-05 12:00:00",
                    Block({"SRC=BIN", "TYP=2", "CAT=bin", "EID=77", "USR=u", "COM=c",
                           "SVR=", "DTP=1", "RWD=00FF41"})),
        RecordBytes("2147483647", "2024-03-05",
                    Block({"SRC=MIDNIGHT", "TYP=8", "CAT=", "EID=-1", "USR=", "COM=host",
                           "SVR=", "DTP=0", "RWD="})),
        RecordBytes("5", "2024-03-05 23:59:59",
                    Block({"SRC=s,\"q\"", "TYP=16", "CAT=\"", "EID=5", "USR=x",
                           "COM=", "SVR=", "DTP=0", "RWD=x,\"y\""})),
        RecordBytes("6", "2024-03-05 13:00:00",
                    Block({"SRC=LINES", "TYP=4", "CAT=c", "EID=6", "USR=", "COM=", "SVR=", "DTP=0",
                           "RWD=a", "RWD=", "RWD=b"})),
        "XNK=1\r\nDAT=2024-03-05 13:00:00\r\nEND=-----------------------\r\n",
        RecordBytes("9", "2024-03-05 14:00:00",
                    Block({"SRC=AFTER", "TYP=4", "CAT=", "EID=9", "USR=", "COM=", "SVR=", "DTP=0",
                           "RWD=after the damage"})),
    };
    base = Base(u"OUT");
    std::vector<int32_t> index = WriteDay(base, records);
    // The eighth entry points past the data file; the ninth is the last record.
    index[0] = 9;
    index.insert(index.begin() + 8, static_cast<int32_t>(ReadAll(base + u".ZLG").size()) + 100);
    WriteAll(base + u".ZLI", IndexBytes(index));
    env = "TZ=Europe/Rome ";
  }

  // The standard output of a run, with the log's base name written as "{log}"; its standard
  // error goes to `err`, the same way.
  std::string Out(const std::string& args, int expected_status) {
    int rc = -1;
    const std::string log = ToUtf8(base), err_file = ToUtf8(folder) + "/err.txt";
    std::string out = kivtest::RunShell(
        "KIV_PROGRAMFILESDIR='" + ToUtf8(folder) + "' " + env + kivtest::KivlogPath() + " " + args +
            " --locale iso --file '" + log + "' 2>'" + err_file + "'",
        &rc);
    EXPECT_EQ(rc, expected_status) << args;
    err = ReadAll(FromUtf8(err_file));
    for (std::string* text : {&out, &err}) {
      for (size_t at; (at = text->find(log)) != std::string::npos;)
        text->replace(at, log.size(), "{log}");
    }
    return out;
  }

  String base;
  std::string err;
};

// Events 1 to 6 and event 9 of the day in each format, as the tool has always printed them.
struct Printed {
  const char* format;
  const char* header;
  const char* first_six;
  const char* ninth;
};

const Printed kPrinted[] = {
    {"short", "",
     "#1  2024-03-05 10:00:00  Caf\xc3\xa9  type 1  id 9  [a,b]  ann@pc\n"
     "    line \"one\" \xe2\x82\xac\n"
     "    tab\there \\ \x01\x7f end\n"
     "#2  2024-03-05 11:30:05  KIVLOG  type 4  id 0\n"
     "    caf\xc3\xa9 \xe2\x98\x83 \xf0\x9f\x98\x80\n"
     "#3  2024-03-05 12:00:00  BIN  type 2  id 77  [bin]  u@c\n"
     "    00FF41\n"
     "#4  2024-03-05  MIDNIGHT  type 8  id -1  @host\n"
     "#5  2024-03-05 23:59:59  s,\"q\"  type 16  id 5  [\"]  x@\n"
     "    x,\"y\"\n"
     "#6  2024-03-05 13:00:00  LINES  type 4  id 6  [c]\n"
     "    a\n"
     "    \n"
     "    b\n",
     "#9  2024-03-05 14:00:00  AFTER  type 4  id 9\n"
     "    after the damage\n"},
    {"short-iso", "",
     "#1  2024-03-05T10:00:00+01:00  Caf\xc3\xa9  type 1  id 9  [a,b]  ann@pc\n"
     "    line \"one\" \xe2\x82\xac\n"
     "    tab\there \\ \x01\x7f end\n"
     "#2  2024-03-05T11:30:05+01:00  KIVLOG  type 4  id 0\n"
     "    caf\xc3\xa9 \xe2\x98\x83 \xf0\x9f\x98\x80\n"
     "#3  2024-03-05T12:00:00+01:00  BIN  type 2  id 77  [bin]  u@c\n"
     "    00FF41\n"
     "#4  2024-03-05T00:00:00+01:00  MIDNIGHT  type 8  id -1  @host\n"
     "#5  2024-03-05T23:59:59+01:00  s,\"q\"  type 16  id 5  [\"]  x@\n"
     "    x,\"y\"\n"
     "#6  2024-03-05T13:00:00+01:00  LINES  type 4  id 6  [c]\n"
     "    a\n"
     "    \n"
     "    b\n",
     "#9  2024-03-05T14:00:00+01:00  AFTER  type 4  id 9\n"
     "    after the damage\n"},
    {"cat", "",
     "line \"one\" \xe2\x82\xac\n"
     "tab\there \\ \x01\x7f end\n"
     "caf\xc3\xa9 \xe2\x98\x83 \xf0\x9f\x98\x80\n"
     "00FF41\n"
     "\n"
     "x,\"y\"\n"
     "a\n"
     "\n"
     "b\n",
     "after the damage\n"},
    {"json", "",
     "{\"category\":\"a,b\",\"computer\":\"pc\",\"datatype\":0,\"date\":\"2024-03-05T10:00:00+01:"
     "00\","
     "\"id\":9,\"log\":\"{log}\",\"offset\":1,\"ordinal\":1,\"rawdata\":\"line \\\"one\\\" "
     "\xe2\x82\xac\\r\\ntab\\there \\\\ \\u0001\x7f end\",\"server\":\"srv\",\"source\":\"Caf"
     "\xc3\xa9\",\"type\":1,\"unk\":-7,\"user\":\"ann\"}\n"
     "{\"category\":\"\",\"computer\":\"\",\"datatype\":0,\"date\":\"2024-03-05T11:30:05+01:00\","
     "\"id\":0,\"log\":\"{log}\",\"offset\":170,\"ordinal\":2,\"rawdata\":\"caf\xc3\xa9 \xe2\x98"
     "\x83 \xf0\x9f\x98\x80\",\"server\":\"\",\"source\":\"KIVLOG\",\"type\":4,\"unk\":0,"
     "\"user\":\"\"}\n"
     "{\"category\":\"bin\",\"computer\":\"c\",\"datatype\":1,\"date\":\"2024-03-05T12:00:00+01:"
     "00\","
     "\"id\":77,\"log\":\"{log}\",\"offset\":308,\"ordinal\":3,\"rawdata\":\"00FF41\",\"server\":"
     "\"\",\"source\":\"BIN\",\"type\":2,\"unk\":3,\"user\":\"u\"}\n"
     "{\"category\":\"\",\"computer\":\"host\",\"datatype\":0,\"date\":\"2024-03-05T00:00:00+01:"
     "00\","
     "\"id\":-1,\"log\":\"{log}\",\"offset\":441,\"ordinal\":4,\"rawdata\":\"\",\"server\":\"\","
     "\"source\":\"MIDNIGHT\",\"type\":8,\"unk\":2147483647,\"user\":\"\"}\n"
     "{\"category\":\"\\\"\",\"computer\":\"\",\"datatype\":0,\"date\":\"2024-03-05T23:59:59+01:"
     "00\","
     "\"id\":5,\"log\":\"{log}\",\"offset\":572,\"ordinal\":5,\"rawdata\":\"x,\\\"y\\\"\","
     "\"server\":\"\",\"source\":\"s,\\\"q\\\"\",\"type\":16,\"unk\":5,\"user\":\"x\"}\n"
     "{\"category\":\"c\",\"computer\":\"\",\"datatype\":0,\"date\":\"2024-03-05T13:00:00+01:00\","
     "\"id\":6,\"log\":\"{log}\",\"offset\":703,\"ordinal\":6,\"rawdata\":\"a\\r\\n\\r\\nb\","
     "\"server\":\"\",\"source\":\"LINES\",\"type\":4,\"unk\":6,\"user\":\"\"}\n",
     "{\"category\":\"\",\"computer\":\"\",\"datatype\":0,\"date\":\"2024-03-05T14:00:00+01:00\","
     "\"id\":9,\"log\":\"{log}\",\"offset\":902,\"ordinal\":9,\"rawdata\":\"after the damage\","
     "\"server\":\"\",\"source\":\"AFTER\",\"type\":4,\"unk\":9,\"user\":\"\"}\n"},
    {"csv",
     "log,ordinal,offset,unk,date,source,type,category,id,user,computer,server,datatype,"
     "rawdata\r\n",
     "{log},1,1,-7,2024-03-05T10:00:00+01:00,Caf\xc3\xa9,1,\"a,b\",9,ann,pc,srv,0,\"line "
     "\"\"one\"\" \xe2\x82\xac\r\n"
     "tab\there \\ \x01\x7f end\"\r\n"
     "{log},2,170,0,2024-03-05T11:30:05+01:00,KIVLOG,4,,0,,,,0,caf\xc3\xa9 \xe2\x98\x83 "
     "\xf0\x9f\x98\x80\r\n"
     "{log},3,308,3,2024-03-05T12:00:00+01:00,BIN,2,bin,77,u,c,,1,00FF41\r\n"
     "{log},4,441,2147483647,2024-03-05T00:00:00+01:00,MIDNIGHT,8,,-1,,host,,0,\r\n"
     "{log},5,572,5,2024-03-05T23:59:59+01:00,\"s,\"\"q\"\"\",16,\"\"\"\",5,x,,,0,\"x,"
     "\"\"y\"\"\"\r\n"
     "{log},6,703,6,2024-03-05T13:00:00+01:00,LINES,4,c,6,,,,0,\"a\r\n"
     "\r\n"
     "b\"\r\n",
     "{log},9,902,9,2024-03-05T14:00:00+01:00,AFTER,4,,9,,,,0,after the damage\r\n"},
};

// Every line of a JSON-lines text printed as json-pretty prints one object.
std::string Pretty(const std::string& json_lines) {
  std::string out;
  for (const nlohmann::json& j : kivtest::JsonLines(json_lines)) out += j.dump(4) + "\n";
  return out;
}

// show (a page that ends before the damage) and export (the whole day, damaged events left out
// and named on standard error) in every format; --utc; a filter.
TEST_F(KivlogOutputTest, EveryFormatByteForByte) {
  MakeDay();
  const std::string skipped =
      "kivlog: export: {log}: event 7 skipped: Disallineamento dei dati nel file di log. (error "
      "20000)\n"
      "kivlog: export: {log}: event 8 skipped: Input past end of file (error 62)\n";
  const std::string trailer = "-- {log}: events 1..6 shown, 9 in the log\n";
  for (const Printed& p : kPrinted) {
    const std::string f = p.format;
    const bool short_form = f.rfind("short", 0) == 0;
    EXPECT_EQ(Out("show -n 6 -o " + f, 0),
              std::string(p.header) + p.first_six + (short_form ? trailer : ""))
        << f;
    EXPECT_EQ(Out("export -o " + f, 2), std::string(p.header) + p.first_six + p.ninth) << f;
    EXPECT_EQ(err, skipped) << f;
  }
  const std::string json = std::string(kPrinted[3].first_six) + kPrinted[3].ninth;
  EXPECT_EQ(Out("show -n 6 -o json-pretty", 0), Pretty(kPrinted[3].first_six));
  EXPECT_EQ(Out("export -o json-pretty", 2), Pretty(json));
  // A page running into the damage prints what it read, then the error.
  EXPECT_EQ(Out("show -n 9", 1), kPrinted[0].first_six);
  EXPECT_EQ(err,
            "kivlog: show: Disallineamento dei dati nel file di log. (error 20000, "
            "KivLog.ReadEventLog)\n");
  // Through a filter: events 1 and 9 hold id 9.
  const std::vector<nlohmann::json> all = kivtest::JsonLines(json);
  EXPECT_EQ(Out("export --id 9 -o json", 2), all[0].dump() + "\n" + all[6].dump() + "\n");
  EXPECT_EQ(err, skipped);
  // Newest first, the damage is met newest first too.
  EXPECT_EQ(Out("export -r --id 9 -o json", 2), all[6].dump() + "\n" + all[0].dump() + "\n");
  EXPECT_EQ(err,
            "kivlog: export: {log}: event 8 skipped: Input past end of file (error 62)\n"
            "kivlog: export: {log}: event 7 skipped: Disallineamento dei dati nel file di log. "
            "(error 20000)\n");
  EXPECT_EQ(Out("export --utc", 2),
            "#1  2024-03-05 09:00:00 UTC  Caf\xc3\xa9  type 1  id 9  [a,b]  ann@pc\n"
            "    line \"one\" \xe2\x82\xac\n"
            "    tab\there \\ \x01\x7f end\n"
            "#2  2024-03-05 10:30:05 UTC  KIVLOG  type 4  id 0\n"
            "    caf\xc3\xa9 \xe2\x98\x83 \xf0\x9f\x98\x80\n"
            "#3  2024-03-05 11:00:00 UTC  BIN  type 2  id 77  [bin]  u@c\n"
            "    00FF41\n"
            "#4  2024-03-04 23:00:00 UTC  MIDNIGHT  type 8  id -1  @host\n"
            "#5  2024-03-05 22:59:59 UTC  s,\"q\"  type 16  id 5  [\"]  x@\n"
            "    x,\"y\"\n"
            "#6  2024-03-05 12:00:00 UTC  LINES  type 4  id 6  [c]\n"
            "    a\n"
            "    \n"
            "    b\n"
            "#9  2024-03-05 13:00:00 UTC  AFTER  type 4  id 9\n"
            "    after the damage\n");
  const std::string utc_csv = Out("export --utc -o csv", 2);
  EXPECT_NE(utc_csv.find("\r\n{log},4,441,2147483647,2024-03-04T23:00:00Z,MIDNIGHT,"),
            std::string::npos)
      << utc_csv;
  EXPECT_NE(utc_csv.find("\r\n{log},9,902,9,2024-03-05T13:00:00Z,AFTER,"), std::string::npos);
}

}  // namespace
}  // namespace kiv::testing
