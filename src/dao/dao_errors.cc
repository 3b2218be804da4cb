#include "dao/dao_errors.h"

#include "frame/error.h"

namespace kiv::dao {
namespace {

struct Entry {
  int32_t number;
  const char16_t* text;
};

constexpr Entry kTexts[] = {
    {kDaoReserved, u"Reserved error (|); there is no message for this error."},
    {kDaoInvalidArgument, u"Invalid argument."},
    {kDaoTableLocked,
     u"The table '|' is already opened exclusively by another user, or it is already open "
     u"through the user interface and cannot be manipulated programmatically."},
    {kDaoTableExists, u"Table '|' already exists."},
    {kDaoObjectExists, u"Object '|' already exists."},
    {kDaoNoCurrentIndex, u"Operation invalid without a current index."},
    {kDaoUpdateWithoutEdit, u"Update or CancelUpdate without AddNew or Edit."},
    {kDaoNoCurrentRecord, u"No current record."},
    {kDaoDuplicate,
     u"The changes you requested to the table were not successful because they would create "
     u"duplicate values in the index, primary key, or relationship.  Change the data in the "
     u"field or fields that contain duplicate data, remove the index, or redefine the index to "
     u"permit duplicate entries and try again."},
    {kDaoFileNotFound, u"Could not find file '|'."},
    {kDaoBadAccount, u"Not a valid account name or password."},
    {kDaoDiskFull, u"Not enough space on disk."},
    {kDaoReadOnly, u"Cannot update.  Database or object is read-only."},
    {kDaoResources, u"System resource exceeded."},
    {kDaoDiskError, u"Disk or network error."},
    {kDaoBadPath,
     u"'|' is not a valid path.  Make sure that the path name is spelled correctly and that you "
     u"are connected to the server on which the file resides."},
    {kDaoFileInUse, u"Could not use '|'; file already in use."},
    {kDaoCorrupt,
     u"Cannot open database '|'.  It may not be a database that your application recognizes, or "
     u"the file may be corrupt."},
    {kDaoCantLock, u"Could not lock file."},
    {kDaoCantOpen,
     u"The Microsoft Jet database engine cannot open the file '|'.  It is already opened "
     u"exclusively by another user, or you need permission to view its data."},
    {kDaoIndexNull, u"Index or primary key cannot contain a Null value."},
    {kDaoTooFewParameters, u"Too few parameters. Expected |."},
    {kDaoExecuteSelect, u"Cannot execute a select query."},
    {kDaoSyntaxExpression, u"Syntax error (missing operator) in query expression '|'."},
    {kDaoTableNotFound,
     u"The Microsoft Jet database engine cannot find the input table or query '|'.  Make sure it "
     u"exists and that its name is spelled correctly."},
    {kDaoInvalidStatement,
     u"Invalid SQL statement; expected 'DELETE', 'INSERT', 'PROCEDURE', 'SELECT', or 'UPDATE'."},
    {kDaoSyntaxFrom, u"Syntax error in FROM clause."},
    {kDaoSyntaxInsert, u"Syntax error in INSERT INTO statement."},
    {kDaoSyntaxUpdate, u"Syntax error in UPDATE statement."},
    {kDaoConnectFailed, u"ODBC--connection to '|' failed."},
    {kDaoInvalidBookmark, u"Not a valid bookmark."},
    {kDaoFieldTooSmall,
     u"The field is too small to accept the amount of data you attempted to add.  Try inserting "
     u"or pasting less data."},
    {kDaoRecordDeleted, u"Record is deleted."},
    {kDaoDatabaseExists, u"Database already exists."},
    {kDaoUpdateLocked, u"Could not update; currently locked."},
    {kDaoInvalidOperation, u"Invalid operation."},
    {kDaoNotSupported, u"Operation is not supported for this type of object."},
    {kDaoInvalidFieldType, u"Invalid field data type."},
    {kDaoLockedByUser, u"Couldn't update; currently locked by user '|2' on machine '|1'."},
    {kDaoNoFieldDefined, u"No field defined--cannot append TableDef or Index."},
    {kDaoItemNotFound, u"Item not found in this collection."},
    {kDaoRequired,
     u"The field '|' cannot contain a Null value because the Required property for this field "
     u"is set to True.  Enter a value in this field."},
    {kDaoZeroLength, u"Field '|' cannot be a zero-length string."},
    {kDaoUnrecognizedFormat, u"Unrecognized database format '|'."},
    {kDaoNameInCollection,
     u"Cannot append. An object with that name already exists in the collection."},
    {kDaoObjectInvalid, u"Object invalid or no longer set."},
    {kDaoConversion, u"Data type conversion error."},
    {kDaoNotAnIndex, u"'|' is not an index in this table."},
};

}  // namespace

String DaoErrorText(int32_t number, StringView arg1, StringView arg2) {
  const char16_t* pattern = u"Reserved error (|); there is no message for this error.";
  for (const Entry& e : kTexts) {
    if (e.number == number) pattern = e.text;
  }
  String out;
  for (StringView p(pattern); !p.empty();) {
    if (p[0] != u'|') {
      out.push_back(p[0]);
      p.remove_prefix(1);
    } else if (p.size() > 1 && p[1] == u'2') {
      out += arg2;
      p.remove_prefix(2);
    } else {
      out += arg1;
      p.remove_prefix(p.size() > 1 && p[1] == u'1' ? 2 : 1);
    }
  }
  return out;
}

void RaiseDao(int32_t number, StringView arg1, StringView arg2) {
  throw Error{number, DaoErrorText(number, arg1, arg2)};
}

}  // namespace kiv::dao
