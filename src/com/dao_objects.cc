// The automation face of the library's DAO model: DBEngine (creatable), Workspace, Database,
// Recordset and Field, with DAO's member names, so that scripts can hand the database helpers
// the DAO objects they take. Every call runs in the library's guard: a failure records DAO's
// error under "<Class>.<Member>" and the call returns its zero value.
#include "com/members.h"
#include "com/system.h"
#include "com/typelib.h"
#include "com/wrappers.h"
#include "frame/guard.h"
#include "kivdbxt/dao.h"

namespace kiv::com {
namespace {

// Runs a member's body in the guard; the body returns S_OK, a failure gives S_OK too (the
// error is recorded, the out value stays zero).
template <class Body>
HRESULT Guarded(const char16_t* source, Body&& body) {
  return Guard(source, S_OK, [&] {
    body();
    return S_OK;
  });
}

HRESULT OutVariant(VARIANT* ret, const Variant& value) {
  if (ret == nullptr) return E_POINTER;
  ToVariant(value, ret);
  return S_OK;
}

class FieldObject : public AutomationObject<_Field, dao::Field> {
 public:
  using AutomationObject::AutomationObject;
  HRESULT STDMETHODCALLTYPE get_Value(VARIANT* ret) override {
    if (ret == nullptr) return E_POINTER;
    VariantInit(ret);
    return Guarded(u"Field.Value", [&] { ToVariant(self().Value(), ret); });
  }
  HRESULT STDMETHODCALLTYPE put_Value(VARIANT value) override {
    return Guarded(u"Field.Value", [&] { self().Value(FromVariant(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* ret) override { return Out(ret, self().Name()); }
  HRESULT STDMETHODCALLTYPE get_Type(SHORT* ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = self().Type();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_Size(LONG* ret) override { return Out(ret, self().Size()); }
  HRESULT STDMETHODCALLTYPE AppendChunk(VARIANT Val) override {
    return Guarded(u"Field.AppendChunk", [&] { self().AppendChunk(FromVariant(Val)); });
  }
  HRESULT STDMETHODCALLTYPE GetChunk(LONG Offset, LONG Bytes, VARIANT* ret) override {
    if (ret == nullptr) return E_POINTER;
    VariantInit(ret);
    return Guarded(u"Field.GetChunk", [&] { ToVariant(self().GetChunk(Offset, Bytes), ret); });
  }
  HRESULT STDMETHODCALLTYPE FieldSize(LONG* ret) override {
    *ret = 0;
    return Guarded(u"Field.FieldSize", [&] { *ret = self().FieldSize(); });
  }
};

class RecordsetObject : public AutomationObject<_Recordset, dao::Recordset> {
 public:
  using AutomationObject::AutomationObject;
  HRESULT STDMETHODCALLTYPE get_Fields(VARIANT Item, _Field** ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = nullptr;
    return Guarded(u"Recordset.Fields", [&] {
      const Variant key = FromVariant(Item);
      std::shared_ptr<dao::Field> field = key.Type() == vbString
                                              ? self().Fields().Item(StringView(key.StringValue()))
                                              : self().Fields().Item(key.ToLong().value_or(-1));
      *ret = static_cast<_Field*>(Wrap(field));
    });
  }
#define KIV_COM_DAO_ACTION(Name)                                 \
  HRESULT STDMETHODCALLTYPE Name() override {                    \
    return Guarded(u"Recordset." #Name, [&] { self().Name(); }); \
  }
  KIV_COM_DAO_ACTION(AddNew)
  KIV_COM_DAO_ACTION(Edit)
  KIV_COM_DAO_ACTION(Update)
  KIV_COM_DAO_ACTION(CancelUpdate)
  KIV_COM_DAO_ACTION(Delete)
  KIV_COM_DAO_ACTION(MoveFirst)
  KIV_COM_DAO_ACTION(MoveLast)
  KIV_COM_DAO_ACTION(MoveNext)
  KIV_COM_DAO_ACTION(MovePrevious)
  KIV_COM_DAO_ACTION(Close)
#undef KIV_COM_DAO_ACTION
  HRESULT STDMETHODCALLTYPE get_BOF(VARIANT_BOOL* ret) override { return Out(ret, self().BOF()); }
  HRESULT STDMETHODCALLTYPE get_EOF(VARIANT_BOOL* ret) override { return Out(ret, self().EOF_()); }
  HRESULT STDMETHODCALLTYPE get_RecordCount(LONG* ret) override {
    *ret = 0;
    return Guarded(u"Recordset.RecordCount", [&] { *ret = self().RecordCount(); });
  }
  HRESULT STDMETHODCALLTYPE get_Index(BSTR* ret) override { return Out(ret, self().Index()); }
  HRESULT STDMETHODCALLTYPE put_Index(BSTR value) override {
    return Guarded(u"Recordset.Index", [&] { self().Index(FromBstr(value)); });
  }
  HRESULT STDMETHODCALLTYPE Seek(BSTR Comparison, VARIANT Key1, VARIANT Key2, VARIANT Key3,
                                 VARIANT Key4, VARIANT Key5) override {
    return Guarded(u"Recordset.Seek", [&] {
      self().Seek(FromBstr(Comparison), FromVariant(Key1), FromVariant(Key2), FromVariant(Key3),
                  FromVariant(Key4), FromVariant(Key5));
    });
  }
  HRESULT STDMETHODCALLTYPE get_NoMatch(VARIANT_BOOL* ret) override {
    return Out(ret, self().NoMatch());
  }
  HRESULT STDMETHODCALLTYPE get_Bookmark(VARIANT* ret) override {
    if (ret == nullptr) return E_POINTER;
    VariantInit(ret);
    return Guarded(u"Recordset.Bookmark", [&] { ToVariant(self().Bookmark(), ret); });
  }
  HRESULT STDMETHODCALLTYPE put_Bookmark(VARIANT value) override {
    return Guarded(u"Recordset.Bookmark", [&] { self().Bookmark(FromVariant(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_EditMode(LONG* ret) override { return Out(ret, self().EditMode()); }
};

class DatabaseObject : public AutomationObject<_Database, dao::Database> {
 public:
  using AutomationObject::AutomationObject;
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* ret) override { return Out(ret, self().Name()); }
  HRESULT STDMETHODCALLTYPE OpenRecordset(BSTR Name, LONG Type, LONG Options, LONG LockEdit,
                                          _Recordset** ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = nullptr;
    return Guarded(u"Database.OpenRecordset", [&] {
      *ret = static_cast<_Recordset*>(
          Wrap(self().OpenRecordset(FromBstr(Name), Type, Options, LockEdit)));
    });
  }
  HRESULT STDMETHODCALLTYPE Execute(BSTR Query, LONG Options) override {
    return Guarded(u"Database.Execute", [&] { self().Execute(FromBstr(Query), Options); });
  }
  HRESULT STDMETHODCALLTYPE get_RecordsAffected(LONG* ret) override {
    return Out(ret, self().RecordsAffected());
  }
  HRESULT STDMETHODCALLTYPE Close() override {
    return Guarded(u"Database.Close", [&] { self().Close(); });
  }
};

// Opening and creating databases, shared by DBEngine and Workspace.
template <class Owner>
HRESULT OpenDatabaseOf(Owner& owner, const char16_t* source, BSTR Name, VARIANT_BOOL Exclusive,
                       VARIANT_BOOL ReadOnly, BSTR Connect, _Database** ret) {
  if (ret == nullptr) return E_POINTER;
  *ret = nullptr;
  return Guarded(source, [&] {
    *ret = static_cast<_Database*>(Wrap(owner.OpenDatabase(
        FromBstr(Name), Exclusive != VARIANT_FALSE, ReadOnly != VARIANT_FALSE, FromBstr(Connect))));
  });
}
template <class Owner>
HRESULT CreateDatabaseOf(Owner& owner, const char16_t* source, BSTR Name, BSTR Locale, LONG Options,
                         _Database** ret) {
  if (ret == nullptr) return E_POINTER;
  *ret = nullptr;
  return Guarded(source, [&] {
    *ret = static_cast<_Database*>(
        Wrap(owner.CreateDatabase(FromBstr(Name), FromBstr(Locale), Options)));
  });
}

class WorkspaceObject : public AutomationObject<_Workspace, dao::Workspace> {
 public:
  using AutomationObject::AutomationObject;
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* ret) override { return Out(ret, self().Name()); }
  HRESULT STDMETHODCALLTYPE CreateDatabase(BSTR Name, BSTR Locale, LONG Options,
                                           _Database** ret) override {
    return CreateDatabaseOf(self(), u"Workspace.CreateDatabase", Name, Locale, Options, ret);
  }
  HRESULT STDMETHODCALLTYPE OpenDatabase(BSTR Name, VARIANT_BOOL Exclusive, VARIANT_BOOL ReadOnly,
                                         BSTR Connect, _Database** ret) override {
    return OpenDatabaseOf(self(), u"Workspace.OpenDatabase", Name, Exclusive, ReadOnly, Connect,
                          ret);
  }
  HRESULT STDMETHODCALLTYPE Close() override {
    return Guarded(u"Workspace.Close", [&] { self().Close(); });
  }
};

class EngineObject : public AutomationObject<_DBEngine, dao::DBEngine> {
 public:
  using AutomationObject::AutomationObject;
  HRESULT STDMETHODCALLTYPE get_Version(BSTR* ret) override { return Out(ret, self().Version()); }
  HRESULT STDMETHODCALLTYPE get_Workspaces(LONG Index, _Workspace** ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = nullptr;
    return Guarded(u"DBEngine.Workspaces",
                   [&] { *ret = static_cast<_Workspace*>(Wrap(self().Workspaces(Index))); });
  }
  HRESULT STDMETHODCALLTYPE CreateDatabase(BSTR Name, BSTR Locale, LONG Options,
                                           _Database** ret) override {
    return CreateDatabaseOf(self(), u"DBEngine.CreateDatabase", Name, Locale, Options, ret);
  }
  HRESULT STDMETHODCALLTYPE OpenDatabase(BSTR Name, VARIANT_BOOL Exclusive, VARIANT_BOOL ReadOnly,
                                         BSTR Connect, _Database** ret) override {
    return OpenDatabaseOf(self(), u"DBEngine.OpenDatabase", Name, Exclusive, ReadOnly, Connect,
                          ret);
  }
  HRESULT STDMETHODCALLTYPE CompactDatabase(BSTR SrcName, BSTR DstName, BSTR Locale,
                                            LONG Options) override {
    return Guarded(u"DBEngine.CompactDatabase", [&] {
      self().CompactDatabase(FromBstr(SrcName), FromBstr(DstName), FromBstr(Locale), Options);
    });
  }
};

}  // namespace

IDispatch* WrapDao(const std::shared_ptr<Object>& object) {
  if (auto field = std::dynamic_pointer_cast<dao::Field>(object))
    return static_cast<_Field*>(new FieldObject(field));
  if (auto records = std::dynamic_pointer_cast<dao::Recordset>(object))
    return static_cast<_Recordset*>(new RecordsetObject(records));
  if (auto database = std::dynamic_pointer_cast<dao::Database>(object))
    return static_cast<_Database*>(new DatabaseObject(database));
  if (auto workspace = std::dynamic_pointer_cast<dao::Workspace>(object))
    return static_cast<_Workspace*>(new WorkspaceObject(workspace));
  if (auto engine = std::dynamic_pointer_cast<dao::DBEngine>(object))
    return static_cast<_DBEngine*>(new EngineObject(engine));
  return nullptr;
}

// The engine of the calling thread, as DAO's DBEngine is one per process.
IDispatch* MakeEngine() { return Wrap(dao::DBEngine::ForThread()); }

}  // namespace kiv::com
