// The external identity of the classes and the factory.
#include "kivdbxt/class_table.h"

#include <gtest/gtest.h>

#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log_event.h"

namespace kiv {
namespace {

TEST(ClassTable, IdentityValueByValue) {
  EXPECT_EQ(String(TypeLibrary().Id), u"{61628F5A-2F04-11D2-B91D-00A024ED9C9B}");
  EXPECT_EQ(TypeLibrary().MajorVersion, 26);
  EXPECT_EQ(TypeLibrary().MinorVersion, 0);
  EXPECT_EQ(TypeLibrary().Lcid, 0x0409);

  struct Row {
    const char16_t *name, *iface, *clsid, *iid;
  };
  const Row expected[] = {
      {u"QvDbXt", u"_QvDbXt", u"{EA624876-43DF-11D2-B956-00A024ED9C9B}",
       u"{3D400429-42CA-491E-AFBA-7CB2A617923D}"},
      {u"KivBlobType", u"_KivBlobType", u"{EA624874-43DF-11D2-B956-00A024ED9C9B}",
       u"{C2E3F091-0C00-443C-BCF9-878B72FA22D7}"},
      {u"KivLogFile", u"_KivLogFile", u"{FFB9CCB9-D9A8-11D3-B5F7-000000000000}",
       u"{3D239B85-8072-4D0E-8706-EE54278B1144}"},
      {u"KivLog", u"_KivLog", u"{D3C54845-6E21-11D4-ABC6-0060978F277D}",
       u"{99CFEDFF-89BB-4645-A92C-101DDAA50B67}"},
      {u"KivLogInfo", u"_KivLogInfo", u"{D3C54843-6E21-11D4-ABC6-0060978F277D}",
       u"{8A2BA30D-BF4C-4F4D-AC20-83A3D9D53AFC}"},
      {u"KivLogEvent", u"_KivLogEvent", u"{D3C54848-6E21-11D4-ABC6-0060978F277D}",
       u"{D9F12200-0EE1-4C7A-81B6-F6A0093EB4D7}"},
      {u"KivLogFilter", u"_KivLogFilter", u"{51F79E5B-6EAC-11D4-ABC7-0060978F277D}",
       u"{D76FD1BA-D58A-4CE4-8996-DF66760A9A9E}"},
      {u"KivSector", u"_KivSector", u"{23C25EAF-2A6C-437A-86FF-FA17F5D7E905}",
       u"{90A78B73-CFBA-49EE-8060-F6DDDB1C7663}"},
  };
  ASSERT_EQ(ClassTable().size(), std::size(expected));
  for (size_t i = 0; i < std::size(expected); ++i) {
    const ClassInfo& c = ClassTable()[i];
    SCOPED_TRACE(ToUtf8(expected[i].name));
    EXPECT_EQ(String(c.Name), expected[i].name);
    EXPECT_EQ(String(c.Interface), expected[i].iface);
    EXPECT_EQ(String(c.Clsid), expected[i].clsid);
    EXPECT_EQ(String(c.Iid), expected[i].iid);
    EXPECT_TRUE(c.Creatable);
    EXPECT_EQ(String(c.ProgId), u"KivDbXtOle." + String(c.Name));
    if (String(c.Name) == u"KivLogFile") {
      EXPECT_EQ(String(c.EventsName), u"__KivLogFile");
      EXPECT_EQ(String(c.EventsIid), u"{E7BF8F49-E4E4-4810-ABF7-362074184E07}");
    } else {
      EXPECT_EQ(c.EventsName, nullptr);
    }
  }
}

TEST(Factory, CreatesByProgIdOrClsidAndRefusesUnknownClasses) {
  auto a = CreateObject(u"KivDbXtOle.KivLogEvent");
  ASSERT_NE(a, nullptr);
  EXPECT_NE(std::dynamic_pointer_cast<KivLogEvent>(a), nullptr);
  auto b = CreateObject(u"d3c54848-6e21-11d4-abc6-0060978f277d");  // braces and case free
  EXPECT_NE(std::dynamic_pointer_cast<KivLogEvent>(b), nullptr);
  EXPECT_NE(a, b);

  ClearLastError();
  EXPECT_EQ(CreateObject(u"{00000000-0000-0000-0000-000000000000}"), nullptr);
  EXPECT_EQ(Last_Error(), 429);
  EXPECT_EQ(LastErrorRecord().Description, u"ActiveX component can't create object");
  EXPECT_EQ(CreateObject(u"KivDbXtOle.NoSuchClass"), nullptr);
  EXPECT_EQ(Last_Error(), 429);
}

}  // namespace
}  // namespace kiv
