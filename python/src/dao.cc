// The DAO object model (kivdbxt.dao): what the helpers take. Its objects raise KivError with
// DAO's numbers and texts, as automation DAO raises to its callers.
#include "bind.h"

namespace kivpy {
namespace {

namespace dao = kiv::dao;
using kiv::String;
using kiv::Variant;

#define KIVPY_DAO_CONST(m, name) m.attr(#name) = static_cast<int32_t>(dao::name)

void BindDaoConstants(py::module_& m) {
  KIVPY_DAO_CONST(m, dbBoolean);
  KIVPY_DAO_CONST(m, dbByte);
  KIVPY_DAO_CONST(m, dbInteger);
  KIVPY_DAO_CONST(m, dbLong);
  KIVPY_DAO_CONST(m, dbCurrency);
  KIVPY_DAO_CONST(m, dbSingle);
  KIVPY_DAO_CONST(m, dbDouble);
  KIVPY_DAO_CONST(m, dbDate);
  KIVPY_DAO_CONST(m, dbBinary);
  KIVPY_DAO_CONST(m, dbText);
  KIVPY_DAO_CONST(m, dbLongBinary);
  KIVPY_DAO_CONST(m, dbMemo);
  KIVPY_DAO_CONST(m, dbOpenTable);
  KIVPY_DAO_CONST(m, dbOpenDynaset);
  KIVPY_DAO_CONST(m, dbOpenSnapshot);
  KIVPY_DAO_CONST(m, dbOpenForwardOnly);
  KIVPY_DAO_CONST(m, dbDenyWrite);
  KIVPY_DAO_CONST(m, dbDenyRead);
  KIVPY_DAO_CONST(m, dbReadOnly);
  KIVPY_DAO_CONST(m, dbAppendOnly);
  KIVPY_DAO_CONST(m, dbFailOnError);
  KIVPY_DAO_CONST(m, dbSeeChanges);
  KIVPY_DAO_CONST(m, dbPessimistic);
  KIVPY_DAO_CONST(m, dbOptimistic);
  KIVPY_DAO_CONST(m, dbFixedField);
  KIVPY_DAO_CONST(m, dbVariableField);
  KIVPY_DAO_CONST(m, dbAutoIncrField);
  KIVPY_DAO_CONST(m, dbUpdatableField);
  KIVPY_DAO_CONST(m, dbDescending);
  KIVPY_DAO_CONST(m, dbEditNone);
  KIVPY_DAO_CONST(m, dbEditInProgress);
  KIVPY_DAO_CONST(m, dbEditAdd);
  KIVPY_DAO_CONST(m, dbVersion10);
  KIVPY_DAO_CONST(m, dbEncrypt);
  KIVPY_DAO_CONST(m, dbDecrypt);
  KIVPY_DAO_CONST(m, dbVersion11);
  KIVPY_DAO_CONST(m, dbVersion20);
  KIVPY_DAO_CONST(m, dbVersion30);
  KIVPY_DAO_CONST(m, dbVersion40);
  m.attr("dbLangGeneral") = String(dao::dbLangGeneral);
}

// Fields, Indexes, TableDefs: by position (from 0, as in DAO) or name, and as a sequence.
template <class T>
void BindItems(py::class_<dao::Items<T>>& c) {
  using C = dao::Items<T>;
  c.def_property_readonly("Count", &C::Count)
      .def("Item", py::overload_cast<int32_t>(&C::Item, py::const_), py::arg("index"))
      .def("Item", py::overload_cast<kiv::StringView>(&C::Item, py::const_), py::arg("name"))
      .def("Append", &C::Append, py::arg("item"))
      .def("Delete", &C::Delete, py::arg("name"))
      .def("Refresh", &C::Refresh)
      .def("__len__", &C::Count, "The number of objects")
      .def("__getitem__", py::overload_cast<int32_t>(&C::Item, py::const_),
           "The object at a position, from 0")
      .def("__getitem__", py::overload_cast<kiv::StringView>(&C::Item, py::const_),
           "The object of a name")
      .def(
          "__iter__",
          [](const C& items) {
            py::list out;
            for (int32_t i = 0; i < items.Count(); ++i) out.append(items.Item(i));
            return py::iter(out);
          },
          "The objects in their order");
}

template <class C>
using Obj = py::class_<C, kiv::Object, std::shared_ptr<C>>;

// Every class is made before any member is bound, so that each signature names its types.
struct Classes {
  explicit Classes(py::module_& m)
      : fields(m, "Fields"),
        indexes(m, "Indexes"),
        tabledefs(m, "TableDefs"),
        field(m, "Field"),
        index(m, "Index"),
        tabledef(m, "TableDef"),
        recordset(m, "Recordset"),
        database(m, "Database"),
        workspace(m, "Workspace"),
        engine(m, "DBEngineClass") {}
  py::class_<dao::Fields> fields;
  py::class_<dao::Indexes> indexes;
  py::class_<dao::TableDefs> tabledefs;
  Obj<dao::Field> field;
  Obj<dao::Index> index;
  Obj<dao::TableDef> tabledef;
  Obj<dao::Recordset> recordset;
  Obj<dao::Database> database;
  Obj<dao::Workspace> workspace;
  Obj<dao::DBEngine> engine;
};

void BindFieldIndex(Classes& k) {
  k.field.KIVPY_PROP(dao::Field, Name, String)
      .KIVPY_PROP(dao::Field, Type, int16_t)
      .KIVPY_PROP(dao::Field, Size, int32_t)
      .KIVPY_PROP(dao::Field, Attributes, int32_t)
      .KIVPY_PROP(dao::Field, AllowZeroLength, bool)
      .KIVPY_PROP(dao::Field, Required, bool)
      .def_property_readonly("OrdinalPosition", &dao::Field::OrdinalPosition)
      .def_property(
          "Value", [](const dao::Field& f) { return f.Value(); },
          [](dao::Field& f, const Variant& v) { f.Value(v); })
      .def("AppendChunk", &dao::Field::AppendChunk, py::arg("data"))
      .def("GetChunk", &dao::Field::GetChunk, py::arg("offset"), py::arg("bytes"))
      .def("FieldSize", &dao::Field::FieldSize);
  k.index.KIVPY_PROP(dao::Index, Name, String)
      .def_property(
          "Fields", [](dao::Index& i) -> dao::Fields& { return i.Fields(); },
          [](dao::Index& i, const String& names) { i.Fields(names); },
          py::return_value_policy::reference_internal)
      .def("CreateField", &dao::Index::CreateField, py::arg("name") = String(),
           py::arg("type") = int16_t{0}, py::arg("size") = 0)
      .KIVPY_PROP(dao::Index, Primary, bool)
      .KIVPY_PROP(dao::Index, Unique, bool)
      .KIVPY_PROP(dao::Index, Required, bool)
      .KIVPY_PROP(dao::Index, IgnoreNulls, bool);
}

void BindTableRecordset(Classes& k) {
  k.tabledef.KIVPY_PROP(dao::TableDef, Name, String)
      .def_property_readonly("Fields", &dao::TableDef::Fields,
                             py::return_value_policy::reference_internal)
      .def_property_readonly("Indexes", &dao::TableDef::Indexes,
                             py::return_value_policy::reference_internal)
      .def("CreateField", &dao::TableDef::CreateField, py::arg("name") = String(),
           py::arg("type") = int16_t{0}, py::arg("size") = 0)
      .def("CreateIndex", &dao::TableDef::CreateIndex, py::arg("name") = String())
      .def_property_readonly("RecordCount", &dao::TableDef::RecordCount)
      .def("OpenRecordset", &dao::TableDef::OpenRecordset,
           py::arg("type") = int32_t{dao::dbOpenTable}, py::arg("options") = 0,
           py::arg("lock_edit") = 0);
  k.recordset.def_property_readonly("Name", &dao::Recordset::Name)
      .def_property_readonly("Type", &dao::Recordset::Type)
      .def_property_readonly("Updatable", &dao::Recordset::Updatable)
      .KIVPY_PROP(dao::Recordset, Index, String)
      .def(
          "Seek",
          [](dao::Recordset& rs, const String& comparison, py::args keys) {
            std::vector<Variant> values;
            for (py::handle k : keys) values.push_back(VariantFromPython(k));
            rs.Seek(comparison, values);
          },
          py::arg("comparison"))
      .def_property_readonly("NoMatch", &dao::Recordset::NoMatch)
      .def("MoveFirst", &dao::Recordset::MoveFirst)
      .def("MoveLast", &dao::Recordset::MoveLast)
      .def("MoveNext", &dao::Recordset::MoveNext)
      .def("MovePrevious", &dao::Recordset::MovePrevious)
      .def("Move", &dao::Recordset::Move, py::arg("rows"),
           py::arg_v("start_bookmark", Variant::Missing(), "Missing"))
      .def_property_readonly("BOF", &dao::Recordset::BOF)
      .def_property_readonly("EOF", &dao::Recordset::EOF_)
      .def_property_readonly("RecordCount", &dao::Recordset::RecordCount)
      .KIVPY_PROP(dao::Recordset, Bookmark, Variant)
      .def_property_readonly("LastModified", &dao::Recordset::LastModified)
      .def("AddNew", &dao::Recordset::AddNew)
      .def("Edit", &dao::Recordset::Edit)
      .def("Update", &dao::Recordset::Update)
      .def("CancelUpdate", &dao::Recordset::CancelUpdate)
      .def("Delete", &dao::Recordset::Delete)
      .def_property_readonly("EditMode", &dao::Recordset::EditMode)
      .def_property_readonly("Fields", &dao::Recordset::Fields,
                             py::return_value_policy::reference_internal)
      .def("Close", &dao::Recordset::Close);
}

void BindDatabase(py::module_& m, Classes& k) {
  k.database.def_property_readonly("Name", &dao::Database::Name)
      .def_property_readonly("Updatable", &dao::Database::Updatable)
      .def_property_readonly("TableDefs", &dao::Database::TableDefs,
                             py::return_value_policy::reference_internal)
      .def("CreateTableDef", &dao::Database::CreateTableDef, py::arg("name") = String())
      .def("OpenRecordset", &dao::Database::OpenRecordset, py::arg("source"), py::arg("type") = 0,
           py::arg("options") = 0, py::arg("lock_edit") = 0)
      .def("Execute", &dao::Database::Execute, py::arg("query"), py::arg("options") = 0)
      .def_property_readonly("RecordsAffected", &dao::Database::RecordsAffected)
      .def("Close", &dao::Database::Close);
  k.workspace.def_property_readonly("Name", &dao::Workspace::Name)
      .def("CreateDatabase", &dao::Workspace::CreateDatabase, py::arg("name"), py::arg("locale"),
           py::arg("options") = 0)
      .def("OpenDatabase", &dao::Workspace::OpenDatabase, py::arg("name"),
           py::arg("exclusive") = false, py::arg("read_only") = false,
           py::arg("connect") = String())
      .def("Close", &dao::Workspace::Close);
  k.engine.def_property_readonly("Version", &dao::DBEngine::Version)
      .def("Workspaces", &dao::DBEngine::Workspaces, py::arg("index") = 0)
      .def("CreateWorkspace", &dao::DBEngine::CreateWorkspace, py::arg("name"),
           py::arg("user") = String(), py::arg("password") = String())
      .def("CreateDatabase", &dao::DBEngine::CreateDatabase, py::arg("name"),
           py::arg("locale") = String(dao::dbLangGeneral), py::arg("options") = 0)
      .def("OpenDatabase", &dao::DBEngine::OpenDatabase, py::arg("name"),
           py::arg("exclusive") = false, py::arg("read_only") = false,
           py::arg("connect") = String())
      .def("CompactDatabase", &dao::DBEngine::CompactDatabase, py::arg("src"), py::arg("dst"),
           py::arg("locale") = String(), py::arg("options") = 0, py::arg("password") = String());
  m.def("DBEngine", &dao::DBEngine::ForThread, "The engine of the calling thread");
}

}  // namespace

void BindDao(py::module_& m) {
  BindDaoConstants(m);
  Classes k(m);
  BindItems(k.fields);
  BindItems(k.indexes);
  BindItems(k.tabledefs);
  BindFieldIndex(k);
  BindTableRecordset(k);
  BindDatabase(m, k);
}

}  // namespace kivpy
