// The DAO-shaped database objects over SQLite: DBEngine, Workspace, Database, TableDef, Field,
// Index, Recordset, with DAO's names, constants and error numbers.
//
// Like automation DAO, these objects raise their failures to the caller: every method may throw
// kiv::Error (kivdbxt/raised_error.h) carrying DAO's number and text (3021 "No current record.",
// 3265 "Item not found in this collection.", ...). An object whose Close was called, or whose
// database was closed, raises 3420 "Object invalid or no longer set."
//
// EOF is a macro of the C library, so the recordset's end-of-file property is named EOF_().
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kivdbxt/export.h"
#include "kivdbxt/raised_error.h"
#include "kivdbxt/types.h"
#include "kivdbxt/variant.h"

namespace kiv::dao {

enum DataTypeEnum : int16_t {
  dbBoolean = 1,
  dbByte = 2,
  dbInteger = 3,
  dbLong = 4,
  dbCurrency = 5,
  dbSingle = 6,
  dbDouble = 7,
  dbDate = 8,
  dbBinary = 9,
  dbText = 10,
  dbLongBinary = 11,
  dbMemo = 12,
};

enum RecordsetTypeEnum : int32_t {
  dbOpenTable = 1,
  dbOpenDynaset = 2,
  dbOpenSnapshot = 4,
  dbOpenForwardOnly = 8,
};

// Options of OpenRecordset and Execute, and lock types (DAO shares dbReadOnly between them).
enum RecordsetOptionEnum : int32_t {
  dbDenyWrite = 1,
  dbDenyRead = 2,
  dbReadOnly = 4,
  dbAppendOnly = 8,
  dbFailOnError = 128,
  dbSeeChanges = 512,
};
enum LockTypeEnum : int32_t {
  dbPessimistic = 2,
  dbOptimistic = 3,
};

enum FieldAttributeEnum : int32_t {
  dbFixedField = 1,
  dbVariableField = 2,
  dbAutoIncrField = 16,
  dbUpdatableField = 32,
  dbDescending = 1,  // of an index's field
};

enum EditModeEnum : int32_t {
  dbEditNone = 0,
  dbEditInProgress = 1,
  dbEditAdd = 2,
};

// Options of CreateDatabase and CompactDatabase: accepted, they change nothing on SQLite.
enum DatabaseTypeEnum : int32_t {
  dbVersion10 = 1,
  dbEncrypt = 2,
  dbDecrypt = 4,
  dbVersion11 = 8,
  dbVersion20 = 16,
  dbVersion30 = 32,
  dbVersion40 = 64,
};

inline constexpr const char16_t* dbLangGeneral = u";LANGID=0x0409;CP=1252;COUNTRY=0";

namespace detail {
struct FieldCore;
struct IndexCore;
struct TableDefCore;
struct RecordsetCore;
struct Connection;
template <class T>
struct ItemsHooks;
}  // namespace detail

// A collection of named DAO objects: Fields, Indexes, TableDefs. Names compare without regard
// to case, positions are 0-based as in DAO.
template <class T>
class KIV_API Items {
 public:
  explicit Items(std::shared_ptr<detail::ItemsHooks<T>> hooks);
  // The number of objects.
  int32_t Count() const;
  // The object at a position (from 0) or of a name; 3265 when there is none.
  std::shared_ptr<T> Item(int32_t index) const;
  std::shared_ptr<T> Item(StringView name) const;
  std::shared_ptr<T> operator[](StringView name) const { return Item(name); }
  // Appends a new object: on a stored table this changes the database (a column, an index, a
  // table). 3367 when the name is taken.
  void Append(const std::shared_ptr<T>& item);
  // Removes the object of a name: on a stored table this changes the database. 3265 when
  // there is none.
  void Delete(StringView name);
  // Reads the objects again from the database.
  void Refresh();

 private:
  std::shared_ptr<detail::ItemsHooks<T>> hooks_;
};

class Field;
class Index;
class TableDef;
class Recordset;
class Database;
class Workspace;

using Fields = Items<Field>;
using Indexes = Items<Index>;
using TableDefs = Items<TableDef>;

// A column: its definition (on a new TableDef or Index), or its value on a Recordset's current
// record.
class KIV_API Field : public Object {
 public:
  explicit Field(std::shared_ptr<detail::FieldCore> core);

  // The field's name.
  String Name() const;
  void Name(const String& value);
  // The field's DAO type (DataTypeEnum).
  int16_t Type() const;
  void Type(int16_t value);
  // The size of the field: characters of a text field, bytes of the fixed types.
  int32_t Size() const;
  void Size(int32_t value);
  // The field's FieldAttributeEnum flags.
  int32_t Attributes() const;
  void Attributes(int32_t value);
  // Whether a text field accepts an empty string.
  bool AllowZeroLength() const;
  void AllowZeroLength(bool value);
  // Whether the field refuses Null.
  bool Required() const;
  void Required(bool value);
  // The field's position in its table, from 0.
  int16_t OrdinalPosition() const;

  // The value on the current record; setting it needs AddNew or Edit (3020).
  Variant Value() const;
  void Value(const Variant& value);
  // Long binary and memo data in pieces. GetChunk gives Null for a Null field.

  // Appends data to the value: the first AppendChunk after AddNew or Edit replaces it, later ones
  // add to it. A byte array appends its bytes; a string one byte per character.
  void AppendChunk(const Variant& data);
  // Reads bytes bytes of the value from offset, as a byte array.
  Variant GetChunk(int32_t offset, int32_t bytes) const;
  // Bytes of a long binary field, characters of a memo field.
  int32_t FieldSize() const;

  const std::shared_ptr<detail::FieldCore>& Core() const { return core_; }

 private:
  std::shared_ptr<detail::FieldCore> core_;
};

// An index of a table: its definition, before it is appended, and its properties.
class KIV_API Index : public Object {
 public:
  explicit Index(std::shared_ptr<detail::IndexCore> core);

  // The index's name.
  String Name() const;
  void Name(const String& value);
  // The index's fields, or (setter) their names separated by ";", each optionally preceded by
  // "+" (ascending) or "-" (descending).
  dao::Fields& Fields();
  void Fields(const String& names);
  // A new field for the index, to append to its Fields.
  std::shared_ptr<Field> CreateField(const String& name = {}, int16_t type = 0, int32_t size = 0);
  // Whether the index is the table's primary key.
  bool Primary() const;
  void Primary(bool value);
  // Whether no two records may have the same key.
  bool Unique() const;
  void Unique(bool value);
  // Whether the key fields refuse Null.
  bool Required() const;
  void Required(bool value);
  // Whether records with a Null key are left out of the index.
  bool IgnoreNulls() const;
  void IgnoreNulls(bool value);

  const std::shared_ptr<detail::IndexCore>& Core() const { return core_; }

 private:
  std::shared_ptr<detail::IndexCore> core_;
  std::unique_ptr<dao::Fields> fields_;
};

// The definition of a table: its fields and indexes.
class KIV_API TableDef : public Object {
 public:
  explicit TableDef(std::shared_ptr<detail::TableDefCore> core);

  // The table's name; it can change only before the table is appended.
  String Name() const;
  void Name(const String& value);
  // The table's fields.
  dao::Fields& Fields();
  // The table's indexes.
  dao::Indexes& Indexes();
  // A new field, to append to Fields.
  std::shared_ptr<Field> CreateField(const String& name = {}, int16_t type = 0, int32_t size = 0);
  // A new index, to append to Indexes.
  std::shared_ptr<Index> CreateIndex(const String& name = {});
  // The number of records of the table.
  int32_t RecordCount() const;
  // Opens a recordset on the table's records (table type by default).
  std::shared_ptr<Recordset> OpenRecordset(int32_t type = dbOpenTable, int32_t options = 0,
                                           int32_t lock_edit = 0);

  const std::shared_ptr<detail::TableDefCore>& Core() const { return core_; }

 private:
  std::shared_ptr<detail::TableDefCore> core_;
  std::unique_ptr<dao::Fields> fields_;
  std::unique_ptr<dao::Indexes> indexes_;
};

// The records of a table or a query, one of them current.
class KIV_API Recordset : public Object {
 public:
  explicit Recordset(std::shared_ptr<detail::RecordsetCore> core);

  // The table name or SQL text the recordset was opened on.
  String Name() const;
  // The recordset's RecordsetTypeEnum.
  int32_t Type() const;
  // Whether the records can be changed.
  bool Updatable() const;

  // The current index of a table-type recordset (empty: the table's own order), which Seek
  // uses.
  String Index() const;
  void Index(const String& name);
  // Moves to the first record of the current index whose key compares with the values as
  // comparison says ("=", ">=", ">", "<=" or "<"); NoMatch tells whether there is one.
  void Seek(const String& comparison, const Variant& key1, const Variant& key2 = Variant::Missing(),
            const Variant& key3 = Variant::Missing(), const Variant& key4 = Variant::Missing(),
            const Variant& key5 = Variant::Missing());
  void Seek(const String& comparison, const std::vector<Variant>& keys);
  // True when the last Seek found no record.
  bool NoMatch() const;

  // Moves to the first record.
  void MoveFirst();
  // Moves to the last record.
  void MoveLast();
  // Moves to the next record (past the last: EOF).
  void MoveNext();
  // Moves to the previous record (before the first: BOF).
  void MovePrevious();
  // Moves rows forward (negative: backward) from the current record, or from the bookmark given.
  void Move(int32_t rows, const Variant& start_bookmark = Variant::Missing());
  // True before the first record.
  bool BOF() const;
  // True after the last record.
  bool EOF_() const;
  // Table type: the table's exact number of records. Dynaset and snapshot: the records visited
  // so far (exact after MoveLast).
  int32_t RecordCount() const;

  // The current record's identity as a byte array; setting it moves to that record.
  Variant Bookmark() const;
  void Bookmark(const Variant& value);
  bool Bookmarkable() const { return true; }
  // The bookmark of the record added or changed last.
  Variant LastModified() const;

  // Starts a new record; Update stores it.
  void AddNew();
  // Starts changing the current record; Update stores the changes.
  void Edit();
  // Stores the record started by AddNew or Edit.
  void Update();
  // Drops the record started by AddNew or Edit.
  void CancelUpdate();
  // Deletes the current record.
  void Delete();
  // Whether AddNew or Edit is in progress (EditModeEnum).
  int32_t EditMode() const;

  // The current record's fields.
  dao::Fields& Fields();
  // Closes the recordset.
  void Close();

  const std::shared_ptr<detail::RecordsetCore>& Core() const { return core_; }

 private:
  std::shared_ptr<detail::RecordsetCore> core_;
  std::unique_ptr<dao::Fields> fields_;
};

// An open database.
class KIV_API Database : public Object {
 public:
  explicit Database(std::shared_ptr<detail::Connection> connection);

  // The database's file name.
  String Name() const;
  // Whether the database can be changed (not opened read-only).
  bool Updatable() const;
  // The database's tables.
  dao::TableDefs& TableDefs();
  // A new table definition, to append to TableDefs.
  std::shared_ptr<TableDef> CreateTableDef(const String& name = {});
  // Source is a table name or an SQL SELECT statement. Type 0 takes the table type for a table
  // and the dynaset type for a query.
  std::shared_ptr<Recordset> OpenRecordset(const String& source, int32_t type = 0,
                                           int32_t options = 0, int32_t lock_edit = 0);
  // Runs an action statement as written. With dbFailOnError a failure raises; without it the
  // statement's failure is ignored, as DAO does.
  void Execute(const String& query, int32_t options = 0);
  // The number of records the last Execute changed.
  int32_t RecordsAffected() const;
  // Closes the database.
  void Close();

  const std::shared_ptr<detail::Connection>& Connection() const { return connection_; }

 private:
  std::shared_ptr<detail::Connection> connection_;
  std::unique_ptr<dao::TableDefs> tabledefs_;
};

// A session that opens and creates databases.
class KIV_API Workspace : public Object {
 public:
  explicit Workspace(String name);

  // The workspace's name.
  String Name() const { return name_; }
  // Creates a new database file; 3204 when it exists. Locale and options are accepted and change
  // nothing on SQLite.
  std::shared_ptr<Database> CreateDatabase(const String& name, const String& locale,
                                           int32_t options = 0);
  // Opens a database shared (exclusive: no other process may open it while it is open), waiting
  // a bounded time for locks held by others.
  std::shared_ptr<Database> OpenDatabase(const String& name, bool exclusive = false,
                                         bool read_only = false, const String& connect = {});
  // Closes every database opened through this workspace.
  void Close();

 private:
  String name_;
  std::vector<std::weak_ptr<Database>> databases_;
};

// The database engine: one per thread, made on first use.
class KIV_API DBEngine : public Object {
 public:
  // The engine of the calling thread.
  static std::shared_ptr<DBEngine> ForThread();

  // The DAO version the engine stands for, "3.6".
  String Version() const { return u"3.6"; }
  // The default workspace (index 0, the only one).
  std::shared_ptr<Workspace> Workspaces(int32_t index = 0);
  // A new workspace; user and password are accepted and change nothing on SQLite.
  std::shared_ptr<Workspace> CreateWorkspace(const String& name, const String& user = {},
                                             const String& password = {});
  // Creates a new database file in the default workspace (see Workspace).
  std::shared_ptr<Database> CreateDatabase(const String& name, const String& locale,
                                           int32_t options = 0);
  // Opens a database in the default workspace (see Workspace).
  std::shared_ptr<Database> OpenDatabase(const String& name, bool exclusive = false,
                                         bool read_only = false, const String& connect = {});
  // Writes a compacted copy of src to dst, which must not exist (3204). The source must not be
  // open elsewhere. Locale, options and password are accepted and change nothing on SQLite.
  void CompactDatabase(const String& src, const String& dst, const String& locale = {},
                       int32_t options = 0, const String& password = {});

 private:
  std::shared_ptr<Workspace> default_workspace_;
};

}  // namespace kiv::dao
