// QvDbXt (and its functions as the module kivdbxt.QvDbXtMod) and the blob cursor KivBlobType.
#include "bind.h"

namespace kivpy {
namespace {

using kiv::KivBlobType;
using kiv::QvDbXt;
using kiv::String;
using kiv::Variant;
namespace Mod = kiv::QvDbXtMod;

py::arg_v Optional(const char* name) { return py::arg_v(name, Variant::Missing(), "Missing"); }

// The helpers whose arguments are all passed in.
void BindPlain(py::class_<QvDbXt, kiv::Object, std::shared_ptr<QvDbXt>>& def) {
  def.def("Field_ValueSet", &QvDbXt::Field_ValueSet, py::arg("Fld"), py::arg("Value"));
  def.def("Blob_Flush", &QvDbXt::Blob_Flush, py::arg("BT"));
  def.def("Blob_Put", &QvDbXt::Blob_Put, py::arg("BT"), py::arg("OutVal"));
  def.def("Blob_2_Str", &QvDbXt::Blob_2_Str, py::arg("Fld"), Optional("Offset"), Optional("Size"));
  def.def("Str_2_Blob", &QvDbXt::Str_2_Blob, py::arg("Fld"), py::arg("Buffer"));
  def.def("Blob_Seek", &QvDbXt::Blob_Seek, py::arg("BT"), py::arg("Offset"));
  def.def("Blob_Init", &QvDbXt::Blob_Init, py::arg("BT"), py::arg("Fld"));
  def.def("Tb_Purge", &QvDbXt::Tb_Purge, py::arg("db"), py::arg("TbName"));
  def.def("Type_StrCheck", &QvDbXt::Type_StrCheck, py::arg("FieldVal"), py::arg("FldType"));
  def.def("Tb_Seek", &QvDbXt::Tb_Seek, py::arg("Tb"), py::arg("IdxName"), py::arg("KeyVal"),
          py::arg("Op"));
  def.def("Tb_GetField", &QvDbXt::Tb_GetField, py::arg("db"), py::arg("TbName"), py::arg("IdxName"),
          py::arg("KeyVal"), py::arg("FldName"));
  def.def("Tb_IsNull", &QvDbXt::Tb_IsNull, py::arg("rs"));
  def.def("Tb_Delete", &QvDbXt::Tb_Delete, py::arg("rs"));
  def.def("Query_Argument", &QvDbXt::Query_Argument, py::arg("fVal"), py::arg("FType"));
  def.def("Get_LongUnk", &QvDbXt::Get_LongUnk, py::arg("Tb"));
  def.def("File_2_Blob", &QvDbXt::File_2_Blob, py::arg("FileName"), py::arg("Fld"));
  def.def("Field_Value", &QvDbXt::Field_Value, py::arg("Fld"));
  def.def("Field_TruncStr", &QvDbXt::Field_TruncStr, py::arg("Fld"), py::arg("Value"));
  def.def("Field_StrAssign", &QvDbXt::Field_StrAssign, py::arg("Fld"), py::arg("Value"));
  def.def("Field_Size", &QvDbXt::Field_Size, py::arg("FType"), py::arg("FSize"));
  def.def("Field_Lenght", &QvDbXt::Field_Lenght, py::arg("FType"), py::arg("FSize"));
  def.def("Field_Convert", &QvDbXt::Field_Convert, py::arg("SrcVal"), py::arg("SrcType"),
          py::arg("DstType"));
  def.def("Field_Align", &QvDbXt::Field_Align, py::arg("FType"));
  def.def("Db_Repair", &QvDbXt::Db_Repair, py::arg("DbName"));
  def.def("Db_CompactEx", &QvDbXt::Db_CompactEx, py::arg("DbName"), Optional("TmpFile"),
          py::arg("DbType") = 0);
  def.def("Db_Compact", &QvDbXt::Db_Compact, py::arg("DbName"), Optional("TmpFile"));
  def.def("Bookmark_Set", &QvDbXt::Bookmark_Set, py::arg("rs"), py::arg("Bk"));
  def.def("Bookmark_Check", &QvDbXt::Bookmark_Check, py::arg("rs"), py::arg("Bk"));
  def.def("Blob_2_File", &QvDbXt::Blob_2_File, py::arg("FileName"), py::arg("Fld"));
}

// The helpers that write back into their arguments: (result, out, ...).
void BindWriteBack(py::class_<QvDbXt, kiv::Object, std::shared_ptr<QvDbXt>>& def) {
  def.def(
      "Blob_Get",
      [](QvDbXt& h, const Mod::BlobRef& BT, Variant RetVal) {
        bool r = h.Blob_Get(BT, RetVal);
        return std::make_tuple(r, RetVal);
      },
      "Returns (result, RetVal).", py::arg("BT"), py::arg("RetVal"));
  def.def(
      "Field_Validate",
      [](QvDbXt& h, Variant FValue, Variant PValue, int16_t FType, int16_t Mand, int16_t Changed) {
        int16_t r = h.Field_Validate(FValue, PValue, FType, Mand, Changed);
        return std::make_tuple(r, FValue, PValue);
      },
      "Returns (result, FValue, PValue).", py::arg("FValue"), py::arg("PValue"), py::arg("FType"),
      py::arg("Mand"), py::arg("Changed"));
  def.def(
      "Close_Recordset",
      [](QvDbXt& h, Mod::RecordsetRef rs) {
        bool r = h.Close_Recordset(rs);
        return std::make_tuple(r, rs);
      },
      "Returns (result, rs), rs None once closed.", py::arg("rs"));
  def.def(
      "Close_Db",
      [](QvDbXt& h, Mod::DatabaseRef db) {
        bool r = h.Close_Db(db);
        return std::make_tuple(r, db);
      },
      "Returns (result, db), db None once closed.", py::arg("db"));
  def.def(
      "Close_WorkSpace",
      [](QvDbXt& h, Mod::WorkspaceRef Wksp) {
        bool r = h.Close_WorkSpace(Wksp);
        return std::make_tuple(r, Wksp);
      },
      "Returns (result, Wksp), Wksp None once closed.", py::arg("Wksp"));
}

}  // namespace

void BindHelpers(py::module_& m) {
  py::class_<KivBlobType, kiv::Object, std::shared_ptr<KivBlobType>>(
      m, "KivBlobType", "The cursor of the buffered blob operations")
      .def(py::init<>())
      .def_property(
          "Fld", [](const KivBlobType& b) { return b.Fld(); },
          [](KivBlobType& b, const std::shared_ptr<kiv::dao::Field>& f) { b.Fld(f); })
      .KIVPY_PROP(KivBlobType, Offset, int32_t)
      .KIVPY_PROP(KivBlobType, ptr, int16_t)
      .KIVPY_PROP(KivBlobType, Buffer, String);

  py::class_<QvDbXt, kiv::Object, std::shared_ptr<QvDbXt>> c(
      m, "QvDbXt", "The database helpers as an object; each method forwards to QvDbXtMod");
  c.def(py::init<>());
  BindPlain(c);
  BindWriteBack(c);
}

}  // namespace kivpy
