#include "kivdbxt/class_table.h"

#include <iterator>
#include <map>
#include <mutex>

#include "frame/error.h"
#include "frame/factory.h"
#include "frame/guard.h"
#include "platform/rt_errors.h"
#include "platform/text_compare.h"

namespace kiv {
namespace {

constexpr TypeLibraryInfo kTypeLibrary = {u"{61628F5A-2F04-11D2-B91D-00A024ED9C9B}", 26, 0, 0x0409};

constexpr ClassInfo kClasses[] = {
    {u"QvDbXt", u"_QvDbXt", u"{EA624876-43DF-11D2-B956-00A024ED9C9B}",
     u"{3D400429-42CA-491E-AFBA-7CB2A617923D}", nullptr, nullptr, true, u"KivDbXtOle.QvDbXt"},
    {u"KivBlobType", u"_KivBlobType", u"{EA624874-43DF-11D2-B956-00A024ED9C9B}",
     u"{C2E3F091-0C00-443C-BCF9-878B72FA22D7}", nullptr, nullptr, true, u"KivDbXtOle.KivBlobType"},
    {u"KivLogFile", u"_KivLogFile", u"{FFB9CCB9-D9A8-11D3-B5F7-000000000000}",
     u"{3D239B85-8072-4D0E-8706-EE54278B1144}", u"__KivLogFile",
     u"{E7BF8F49-E4E4-4810-ABF7-362074184E07}", true, u"KivDbXtOle.KivLogFile"},
    {u"KivLog", u"_KivLog", u"{D3C54845-6E21-11D4-ABC6-0060978F277D}",
     u"{99CFEDFF-89BB-4645-A92C-101DDAA50B67}", nullptr, nullptr, true, u"KivDbXtOle.KivLog"},
    {u"KivLogInfo", u"_KivLogInfo", u"{D3C54843-6E21-11D4-ABC6-0060978F277D}",
     u"{8A2BA30D-BF4C-4F4D-AC20-83A3D9D53AFC}", nullptr, nullptr, true, u"KivDbXtOle.KivLogInfo"},
    {u"KivLogEvent", u"_KivLogEvent", u"{D3C54848-6E21-11D4-ABC6-0060978F277D}",
     u"{D9F12200-0EE1-4C7A-81B6-F6A0093EB4D7}", nullptr, nullptr, true, u"KivDbXtOle.KivLogEvent"},
    {u"KivLogFilter", u"_KivLogFilter", u"{51F79E5B-6EAC-11D4-ABC7-0060978F277D}",
     u"{D76FD1BA-D58A-4CE4-8996-DF66760A9A9E}", nullptr, nullptr, true, u"KivDbXtOle.KivLogFilter"},
    {u"KivSector", u"_KivSector", u"{23C25EAF-2A6C-437A-86FF-FA17F5D7E905}",
     u"{90A78B73-CFBA-49EE-8060-F6DDDB1C7663}", nullptr, nullptr, true, u"KivDbXtOle.KivSector"},
};

constexpr const char16_t* kQvDbXtMethods[] = {
    u"Field_ValueSet",  u"Blob_Flush",   u"Blob_Put",       u"Blob_Get",        u"Blob_2_Str",
    u"Str_2_Blob",      u"Blob_Seek",    u"Blob_Init",      u"Tb_Purge",        u"Type_StrCheck",
    u"Tb_Seek",         u"Tb_GetField",  u"Tb_IsNull",      u"Tb_Delete",       u"Query_Argument",
    u"Get_LongUnk",     u"File_2_Blob",  u"Field_Value",    u"Field_Validate",  u"Field_TruncStr",
    u"Field_StrAssign", u"Field_Size",   u"Field_Lenght",   u"Field_Convert",   u"Field_Align",
    u"Db_Repair",       u"Db_CompactEx", u"Db_Compact",     u"Close_Recordset", u"Close_Db",
    u"Close_WorkSpace", u"Bookmark_Set", u"Bookmark_Check", u"Blob_2_File",
};

// A CLSID without braces, upper case, for comparison.
String BareId(StringView id) {
  String out;
  for (char16_t c : id) {
    if (c != u'{' && c != u'}') out.push_back(FoldCase(c));
  }
  return out;
}

std::map<String, ObjectConstructor>& Constructors() {
  static std::map<String, ObjectConstructor> constructors;
  return constructors;
}

std::mutex& ConstructorsMutex() {
  static std::mutex m;
  return m;
}

}  // namespace

ClassRegistrar::ClassRegistrar(const char16_t* class_name, ObjectConstructor make) {
  std::lock_guard<std::mutex> lock(ConstructorsMutex());
  Constructors()[class_name] = make;
}

const TypeLibraryInfo& TypeLibrary() { return kTypeLibrary; }

std::span<const ClassInfo> ClassTable() { return kClasses; }

std::span<const char16_t* const> QvDbXtMethodOrder() { return kQvDbXtMethods; }

const ClassInfo* FindClass(StringView id) {
  const String bare = BareId(id);
  for (const ClassInfo& c : kClasses) {
    if (TextEquals(id, c.Name) || TextEquals(id, c.ProgId) || bare == BareId(c.Clsid)) return &c;
  }
  return nullptr;
}

std::shared_ptr<Object> CreateObject(StringView clsid_or_progid) {
  return Guard(u"KivDbXtOle.CreateObject", std::shared_ptr<Object>(), [&] {
    const ClassInfo* info = FindClass(clsid_or_progid);
    ObjectConstructor make = nullptr;
    if (info && info->Creatable) {
      std::lock_guard<std::mutex> lock(ConstructorsMutex());
      auto it = Constructors().find(info->Name);
      if (it != Constructors().end()) make = it->second;
    }
    if (!make) Raise(kErrCantCreateObject);
    return make();
  });
}

}  // namespace kiv
