// The automation face of the library's DAO model: DBEngine (creatable), Workspace, Database,
// TableDef, Index, Recordset, Field and their collections, with DAO's member names, so that scripts
// can hand the database helpers the DAO objects they take. Every call runs in the library's guard:
// a failure records DAO's error under "<Class>.<Member>" and the call returns its zero value.
#include <vector>

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

// A collection of the model (a TableDef's Fields, ...) kept alive with the object that owns it.
template <class E>
struct ItemsOf : Object {
  ItemsOf(std::shared_ptr<Object> owner, dao::Items<E>& items)
      : owner(std::move(owner)), items(items) {}
  std::shared_ptr<Object> owner;
  dao::Items<E>& items;
};

// The Sources of a collection's members.
template <class E>
struct ItemsSources;
#define KIV_COM_ITEMS_SOURCES(E, Name)                               \
  template <>                                                        \
  struct ItemsSources<E> {                                           \
    static constexpr const char16_t* item = u"" #Name ".Item";       \
    static constexpr const char16_t* append = u"" #Name ".Append";   \
    static constexpr const char16_t* remove = u"" #Name ".Delete";   \
    static constexpr const char16_t* refresh = u"" #Name ".Refresh"; \
  };
KIV_COM_ITEMS_SOURCES(dao::Field, Fields)
KIV_COM_ITEMS_SOURCES(dao::Index, Indexes)
KIV_COM_ITEMS_SOURCES(dao::TableDef, TableDefs)
#undef KIV_COM_ITEMS_SOURCES

// A collection is one COM object for as long as it is in use, found again by its address.
template <class E>
class ItemsObject : public AutomationObject<_DynaCollection, ItemsOf<E>> {
  using Sources = ItemsSources<E>;

 public:
  explicit ItemsObject(std::shared_ptr<ItemsOf<E>> target)
      : AutomationObject<_DynaCollection, ItemsOf<E>>(target, &target->items) {}

  HRESULT STDMETHODCALLTYPE get_Item(VARIANT Index, IDispatch** ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = nullptr;
    return Guarded(Sources::item, [&] {
      const Variant key = FromVariant(Index);
      *ret = Wrap(key.Type() == vbString ? items().Item(StringView(key.StringValue()))
                                         : items().Item(key.ToLong().value_or(-1)));
    });
  }
  HRESULT STDMETHODCALLTYPE get_Count(SHORT* ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = static_cast<SHORT>(items().Count());
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Append(IDispatch* Object) override {
    return Guarded(Sources::append, [&] { items().Append(Unwrap<E>(Object)); });
  }
  HRESULT STDMETHODCALLTYPE Delete(BSTR Name) override {
    return Guarded(Sources::remove, [&] { items().Delete(StringView(FromBstr(Name))); });
  }
  HRESULT STDMETHODCALLTYPE Refresh() override {
    return Guarded(Sources::refresh, [&] { items().Refresh(); });
  }
  HRESULT STDMETHODCALLTYPE _NewEnum(IUnknown** ret) override {
    if (ret == nullptr) return E_POINTER;
    std::vector<Variant> list;
    for (int32_t i = 0; i < items().Count(); ++i)
      list.emplace_back(std::static_pointer_cast<Object>(items().Item(i)));
    *ret = EnumerateVariants(std::move(list));
    return S_OK;
  }

 private:
  dao::Items<E>& items() { return this->self().items; }
};

template <class E>
IDispatch* WrapItems(std::shared_ptr<Object> owner, dao::Items<E>& items) {
  if (IDispatch* known = FindWrapper(&items)) return known;
  return new ItemsObject<E>(std::make_shared<ItemsOf<E>>(std::move(owner), items));
}
template <class E>
HRESULT OutItems(_DynaCollection** ret, std::shared_ptr<Object> owner, dao::Items<E>& items) {
  if (ret == nullptr) return E_POINTER;
  *ret = static_cast<_DynaCollection*>(WrapItems(std::move(owner), items));
  return S_OK;
}

// A Boolean property of a model object (AllowZeroLength, Primary, ...).
#define KIV_COM_DAO_BOOL_PROPERTY(Name)                                          \
  HRESULT STDMETHODCALLTYPE get_##Name(VARIANT_BOOL* ret) override {             \
    return Out(ret, self().Name());                                              \
  }                                                                              \
  HRESULT STDMETHODCALLTYPE put_##Name(VARIANT_BOOL value) override {            \
    return Guarded(kSource##Name, [&] { self().Name(value != VARIANT_FALSE); }); \
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
  HRESULT STDMETHODCALLTYPE put_Name(BSTR value) override {
    return Guarded(u"Field.Name", [&] { self().Name(FromBstr(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Type(SHORT* ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = self().Type();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE put_Type(SHORT value) override {
    return Guarded(u"Field.Type", [&] { self().Type(value); });
  }
  HRESULT STDMETHODCALLTYPE get_Size(LONG* ret) override { return Out(ret, self().Size()); }
  HRESULT STDMETHODCALLTYPE put_Size(LONG value) override {
    return Guarded(u"Field.Size", [&] { self().Size(value); });
  }
  HRESULT STDMETHODCALLTYPE get_Attributes(LONG* ret) override {
    return Out(ret, self().Attributes());
  }
  HRESULT STDMETHODCALLTYPE put_Attributes(LONG value) override {
    return Guarded(u"Field.Attributes", [&] { self().Attributes(value); });
  }
  static constexpr const char16_t* kSourceAllowZeroLength = u"Field.AllowZeroLength";
  static constexpr const char16_t* kSourceRequired = u"Field.Required";
  KIV_COM_DAO_BOOL_PROPERTY(AllowZeroLength)
  KIV_COM_DAO_BOOL_PROPERTY(Required)
  HRESULT STDMETHODCALLTYPE get_OrdinalPosition(SHORT* ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = self().OrdinalPosition();
    return S_OK;
  }
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
  HRESULT STDMETHODCALLTYPE get_Fields(_DynaCollection** ret) override {
    return OutItems(ret, target_, self().Fields());
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

// CreateField of a TableDef or an Index.
template <class Owner>
HRESULT CreateFieldOf(Owner& owner, const char16_t* source, BSTR Name, SHORT Type, LONG Size,
                      _Field** ret) {
  if (ret == nullptr) return E_POINTER;
  *ret = nullptr;
  return Guarded(source, [&] {
    *ret = static_cast<_Field*>(Wrap(owner.CreateField(FromBstr(Name), Type, Size)));
  });
}

class IndexObject : public AutomationObject<_Index, dao::Index> {
 public:
  using AutomationObject::AutomationObject;
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* ret) override { return Out(ret, self().Name()); }
  HRESULT STDMETHODCALLTYPE put_Name(BSTR value) override {
    return Guarded(u"Index.Name", [&] { self().Name(FromBstr(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Fields(VARIANT* ret) override {
    if (ret == nullptr) return E_POINTER;
    VariantInit(ret);
    ret->vt = VT_DISPATCH;
    ret->pdispVal = WrapItems(target_, self().Fields());
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE put_Fields(VARIANT value) override {
    return Guarded(u"Index.Fields",
                   [&] { self().Fields(FromVariant(value).ToString().value_or(String())); });
  }
  HRESULT STDMETHODCALLTYPE CreateField(BSTR Name, SHORT Type, LONG Size, _Field** ret) override {
    return CreateFieldOf(self(), u"Index.CreateField", Name, Type, Size, ret);
  }
  static constexpr const char16_t* kSourcePrimary = u"Index.Primary";
  static constexpr const char16_t* kSourceUnique = u"Index.Unique";
  static constexpr const char16_t* kSourceRequired = u"Index.Required";
  static constexpr const char16_t* kSourceIgnoreNulls = u"Index.IgnoreNulls";
  KIV_COM_DAO_BOOL_PROPERTY(Primary)
  KIV_COM_DAO_BOOL_PROPERTY(Unique)
  KIV_COM_DAO_BOOL_PROPERTY(Required)
  KIV_COM_DAO_BOOL_PROPERTY(IgnoreNulls)
};

class TableDefObject : public AutomationObject<_TableDef, dao::TableDef> {
 public:
  using AutomationObject::AutomationObject;
  HRESULT STDMETHODCALLTYPE get_Fields(_DynaCollection** ret) override {
    return OutItems(ret, target_, self().Fields());
  }
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* ret) override { return Out(ret, self().Name()); }
  HRESULT STDMETHODCALLTYPE put_Name(BSTR value) override {
    return Guarded(u"TableDef.Name", [&] { self().Name(FromBstr(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Indexes(_DynaCollection** ret) override {
    return OutItems(ret, target_, self().Indexes());
  }
  HRESULT STDMETHODCALLTYPE CreateField(BSTR Name, SHORT Type, LONG Size, _Field** ret) override {
    return CreateFieldOf(self(), u"TableDef.CreateField", Name, Type, Size, ret);
  }
  HRESULT STDMETHODCALLTYPE CreateIndex(BSTR Name, _Index** ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = nullptr;
    return Guarded(u"TableDef.CreateIndex",
                   [&] { *ret = static_cast<_Index*>(Wrap(self().CreateIndex(FromBstr(Name)))); });
  }
  HRESULT STDMETHODCALLTYPE get_RecordCount(LONG* ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = 0;
    return Guarded(u"TableDef.RecordCount", [&] { *ret = self().RecordCount(); });
  }
  HRESULT STDMETHODCALLTYPE OpenRecordset(LONG Type, LONG Options, LONG LockEdit,
                                          _Recordset** ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = nullptr;
    return Guarded(u"TableDef.OpenRecordset", [&] {
      *ret = static_cast<_Recordset*>(Wrap(self().OpenRecordset(Type, Options, LockEdit)));
    });
  }
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
  HRESULT STDMETHODCALLTYPE get_TableDefs(_DynaCollection** ret) override {
    return OutItems(ret, target_, self().TableDefs());
  }
  HRESULT STDMETHODCALLTYPE CreateTableDef(BSTR Name, _TableDef** ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = nullptr;
    return Guarded(u"Database.CreateTableDef", [&] {
      *ret = static_cast<_TableDef*>(Wrap(self().CreateTableDef(FromBstr(Name))));
    });
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
  if (auto index = std::dynamic_pointer_cast<dao::Index>(object))
    return static_cast<_Index*>(new IndexObject(index));
  if (auto table = std::dynamic_pointer_cast<dao::TableDef>(object))
    return static_cast<_TableDef*>(new TableDefObject(table));
  if (auto fields = std::dynamic_pointer_cast<ItemsOf<dao::Field>>(object))
    return WrapItems(fields->owner, fields->items);
  if (auto indexes = std::dynamic_pointer_cast<ItemsOf<dao::Index>>(object))
    return WrapItems(indexes->owner, indexes->items);
  if (auto tables = std::dynamic_pointer_cast<ItemsOf<dao::TableDef>>(object))
    return WrapItems(tables->owner, tables->items);
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
