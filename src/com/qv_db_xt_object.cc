// The automation faces of QvDbXt (the database helpers, also the type library's application
// object) and KivBlobType. DAO objects arrive as the DAO face's objects (dao_objects.cc).
#include "com/members.h"
#include "com/system.h"
#include "com/typelib.h"
#include "com/wrappers.h"
#include "kivdbxt/dao.h"
#include "kivdbxt/kiv_blob_type.h"
#include "kivdbxt/qv_db_xt.h"

namespace kiv::com {
namespace {

// A 16-bit flag result: True is -1.
HRESULT OutFlag(SHORT* ret, bool value) {
  if (ret == nullptr) return E_POINTER;
  *ret = value ? -1 : 0;
  return S_OK;
}
HRESULT OutShort(SHORT* ret, int16_t value) {
  if (ret == nullptr) return E_POINTER;
  *ret = value;
  return S_OK;
}
// VARIANT_BOOL is a SHORT too: 16-bit numbers are read by their own name.
int16_t InShort(const SHORT* value) { return value != nullptr ? *value : 0; }

Variant InVariant(const VARIANT* value) {
  return value != nullptr ? FromVariant(*value) : Variant();
}
void BackVariant(VARIANT* target, const Variant& value) {
  if (target == nullptr) return;
  VariantClear(target);
  ToVariant(value, target);
}
// The key values of a seek: the items of a script's array, or one value.
std::vector<Variant> InKeys(const VARIANT* value) {
  const Variant keys = InVariant(value);
  if (keys.IsArray()) return keys.Items();
  return {keys};
}
// Sets the caller's object variable to Nothing, as the Close_ helpers do.
void BackNothing(IDispatch** target) {
  if (target == nullptr || *target == nullptr) return;
  (*target)->Release();
  *target = nullptr;
}

class BlobObject : public AutomationObject<_KivBlobType, KivBlobType> {
 public:
  using AutomationObject::AutomationObject;
  HRESULT STDMETHODCALLTYPE get_Fld(IDispatch** ret) override {
    if (ret == nullptr) return E_POINTER;
    *ret = Wrap(self().Fld());
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE putref_Fld(IDispatch* value) override {
    self().Fld(Unwrap<dao::Field>(value));
    return S_OK;
  }
  KIV_COM_LONG_PROPERTY(Offset)
  HRESULT STDMETHODCALLTYPE get_ptr(SHORT* ret) override { return OutShort(ret, self().ptr()); }
  HRESULT STDMETHODCALLTYPE put_ptr(SHORT value) override {
    self().ptr(value);
    return S_OK;
  }
  KIV_COM_STRING_PROPERTY(Buffer)
};

class QvDbXtObject : public AutomationObject<_QvDbXt, QvDbXt> {
 public:
  using AutomationObject::AutomationObject;

  HRESULT STDMETHODCALLTYPE Field_ValueSet(IDispatch** Fld, VARIANT* Value,
                                           VARIANT_BOOL* ret) override {
    return Out(ret, self().Field_ValueSet(In<dao::Field>(Fld), InVariant(Value)));
  }
  HRESULT STDMETHODCALLTYPE Blob_Flush(_KivBlobType** BT, SHORT* ret) override {
    return OutFlag(ret, self().Blob_Flush(In<KivBlobType>(BT)));
  }
  HRESULT STDMETHODCALLTYPE Blob_Put(_KivBlobType** BT, VARIANT* OutVal, SHORT* ret) override {
    return OutFlag(ret, self().Blob_Put(In<KivBlobType>(BT), InVariant(OutVal)));
  }
  HRESULT STDMETHODCALLTYPE Blob_Get(_KivBlobType** BT, VARIANT* RetVal, SHORT* ret) override {
    Variant value = InVariant(RetVal);
    const bool failed = self().Blob_Get(In<KivBlobType>(BT), value);
    BackVariant(RetVal, value);
    return OutFlag(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE Blob_2_Str(IDispatch** Fld, VARIANT* Offset, VARIANT* Size,
                                       BSTR* ret) override {
    return Out(ret, self().Blob_2_Str(In<dao::Field>(Fld), InVariant(Offset), InVariant(Size)));
  }
  HRESULT STDMETHODCALLTYPE Str_2_Blob(IDispatch** Fld, BSTR* Buffer, SHORT* ret) override {
    return OutFlag(ret, self().Str_2_Blob(In<dao::Field>(Fld), In(Buffer)));
  }
  HRESULT STDMETHODCALLTYPE Blob_Seek(_KivBlobType** BT, LONG* Offset, SHORT* ret) override {
    return OutFlag(ret, self().Blob_Seek(In<KivBlobType>(BT), In(Offset)));
  }
  HRESULT STDMETHODCALLTYPE Blob_Init(_KivBlobType** BT, IDispatch** Fld, SHORT* ret) override {
    return OutFlag(ret, self().Blob_Init(In<KivBlobType>(BT), In<dao::Field>(Fld)));
  }
  HRESULT STDMETHODCALLTYPE Tb_Purge(IDispatch** db, BSTR* TbName, SHORT* ret) override {
    return OutFlag(ret, self().Tb_Purge(In<dao::Database>(db), In(TbName)));
  }
  HRESULT STDMETHODCALLTYPE Type_StrCheck(BSTR* FieldVal, SHORT* FldType, SHORT* ret) override {
    return OutFlag(ret, self().Type_StrCheck(In(FieldVal), InShort(FldType)));
  }
  HRESULT STDMETHODCALLTYPE Tb_Seek(IDispatch** Tb, BSTR* IdxName, VARIANT* KeyVal, BSTR* Op,
                                    SHORT* ret) override {
    return OutFlag(ret,
                   self().Tb_Seek(In<dao::Recordset>(Tb), In(IdxName), InKeys(KeyVal), In(Op)));
  }
  HRESULT STDMETHODCALLTYPE Tb_GetField(IDispatch** db, BSTR* TbName, BSTR* IdxName,
                                        VARIANT* KeyVal, BSTR* FldName, BSTR* ret) override {
    return Out(ret, self().Tb_GetField(In<dao::Database>(db), In(TbName), In(IdxName),
                                       InKeys(KeyVal), In(FldName)));
  }
  HRESULT STDMETHODCALLTYPE Tb_IsNull(IDispatch** rs, SHORT* ret) override {
    return OutFlag(ret, self().Tb_IsNull(In<dao::Recordset>(rs)));
  }
  HRESULT STDMETHODCALLTYPE Tb_Delete(IDispatch** rs, SHORT* ret) override {
    return OutFlag(ret, self().Tb_Delete(In<dao::Recordset>(rs)));
  }
  HRESULT STDMETHODCALLTYPE Query_Argument(BSTR fVal, SHORT FType, BSTR* ret) override {
    return Out(ret, self().Query_Argument(FromBstr(fVal), FType));
  }
  HRESULT STDMETHODCALLTYPE Get_LongUnk(IDispatch** Tb, LONG* ret) override {
    return Out(ret, self().Get_LongUnk(In<dao::Recordset>(Tb)));
  }
  HRESULT STDMETHODCALLTYPE File_2_Blob(BSTR* FileName, IDispatch** Fld, SHORT* ret) override {
    return OutFlag(ret, self().File_2_Blob(In(FileName), In<dao::Field>(Fld)));
  }
  HRESULT STDMETHODCALLTYPE Field_Value(IDispatch** Fld, VARIANT* ret) override {
    if (ret == nullptr) return E_POINTER;
    ToVariant(self().Field_Value(In<dao::Field>(Fld)), ret);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Field_Validate(VARIANT* FValue, VARIANT* PValue, SHORT* FType,
                                           SHORT* Mand, SHORT* Changed, SHORT* ret) override {
    Variant value = InVariant(FValue), previous = InVariant(PValue);
    const int16_t result =
        self().Field_Validate(value, previous, InShort(FType), InShort(Mand), InShort(Changed));
    BackVariant(FValue, value);
    BackVariant(PValue, previous);
    return OutShort(ret, result);
  }
  HRESULT STDMETHODCALLTYPE Field_TruncStr(IDispatch** Fld, BSTR* Value, BSTR* ret) override {
    return Out(ret, self().Field_TruncStr(In<dao::Field>(Fld), In(Value)));
  }
  HRESULT STDMETHODCALLTYPE Field_StrAssign(IDispatch** Fld, BSTR Value, SHORT* ret) override {
    return OutFlag(ret, self().Field_StrAssign(In<dao::Field>(Fld), FromBstr(Value)));
  }
  HRESULT STDMETHODCALLTYPE Field_Size(SHORT* FType, SHORT* FSize, SHORT* ret) override {
    return OutShort(ret, self().Field_Size(InShort(FType), InShort(FSize)));
  }
  HRESULT STDMETHODCALLTYPE Field_Lenght(SHORT* FType, SHORT* FSize, SHORT* ret) override {
    return OutShort(ret, self().Field_Lenght(InShort(FType), InShort(FSize)));
  }
  HRESULT STDMETHODCALLTYPE Field_Convert(BSTR* SrcVal, SHORT* SrcType, SHORT* DstType,
                                          BSTR* ret) override {
    return Out(ret, self().Field_Convert(In(SrcVal), InShort(SrcType), InShort(DstType)));
  }
  HRESULT STDMETHODCALLTYPE Field_Align(SHORT* FType, SHORT* ret) override {
    return OutShort(ret, self().Field_Align(InShort(FType)));
  }
  HRESULT STDMETHODCALLTYPE Db_Repair(BSTR* DbName, SHORT* ret) override {
    return OutFlag(ret, self().Db_Repair(In(DbName)));
  }
  HRESULT STDMETHODCALLTYPE Db_CompactEx(BSTR* DbName, VARIANT* TmpFile, LONG* DbType,
                                         SHORT* ret) override {
    return OutFlag(ret, self().Db_CompactEx(In(DbName), InVariant(TmpFile), In(DbType)));
  }
  HRESULT STDMETHODCALLTYPE Db_Compact(BSTR* DbName, VARIANT* TmpFile, SHORT* ret) override {
    return OutFlag(ret, self().Db_Compact(In(DbName), InVariant(TmpFile)));
  }
  HRESULT STDMETHODCALLTYPE Close_Recordset(IDispatch** rs, SHORT* ret) override {
    std::shared_ptr<dao::Recordset> records = In<dao::Recordset>(rs);
    const bool failed = self().Close_Recordset(records);
    if (!records) BackNothing(rs);
    return OutFlag(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE Close_Db(IDispatch** db, SHORT* ret) override {
    std::shared_ptr<dao::Database> database = In<dao::Database>(db);
    const bool failed = self().Close_Db(database);
    if (!database) BackNothing(db);
    return OutFlag(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE Close_WorkSpace(IDispatch** Wksp, VARIANT_BOOL* ret) override {
    std::shared_ptr<dao::Workspace> workspace = In<dao::Workspace>(Wksp);
    const bool failed = self().Close_WorkSpace(workspace);
    if (!workspace) BackNothing(Wksp);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE Bookmark_Set(IDispatch** rs, VARIANT* Bk, SHORT* ret) override {
    return OutFlag(ret, self().Bookmark_Set(In<dao::Recordset>(rs), InVariant(Bk)));
  }
  HRESULT STDMETHODCALLTYPE Bookmark_Check(IDispatch** rs, VARIANT* Bk, SHORT* ret) override {
    return OutFlag(ret, self().Bookmark_Check(In<dao::Recordset>(rs), InVariant(Bk)));
  }
  HRESULT STDMETHODCALLTYPE Blob_2_File(BSTR* FileName, IDispatch** Fld, SHORT* ret) override {
    return OutFlag(ret, self().Blob_2_File(In(FileName), In<dao::Field>(Fld)));
  }
};

}  // namespace

IDispatch* WrapQvDbXt(std::shared_ptr<QvDbXt> helpers) {
  return static_cast<_QvDbXt*>(new QvDbXtObject(std::move(helpers)));
}

IDispatch* WrapBlob(std::shared_ptr<KivBlobType> blob) {
  return static_cast<_KivBlobType*>(new BlobObject(std::move(blob)));
}

}  // namespace kiv::com
