// DAO's error numbers and texts: the one table of the errors a DAO client meets.
#pragma once

#include <cstdint>

#include "kivdbxt/types.h"

namespace kiv::dao {

enum DaoError : int32_t {
  kDaoReserved = 3000,
  kDaoInvalidArgument = 3001,
  kDaoTableLocked = 3008,
  kDaoTableExists = 3010,
  kDaoObjectExists = 3012,
  kDaoNoCurrentIndex = 3019,
  kDaoUpdateWithoutEdit = 3020,
  kDaoNoCurrentRecord = 3021,
  kDaoDuplicate = 3022,
  kDaoFileNotFound = 3024,
  kDaoBadAccount = 3029,
  kDaoDiskFull = 3026,
  kDaoReadOnly = 3027,
  kDaoResources = 3035,
  kDaoDiskError = 3040,
  kDaoBadPath = 3044,
  kDaoFileInUse = 3045,
  kDaoCorrupt = 3049,
  kDaoCantLock = 3050,
  kDaoCantOpen = 3051,
  kDaoIndexNull = 3058,
  kDaoTooFewParameters = 3061,
  kDaoExecuteSelect = 3065,
  kDaoSyntaxExpression = 3075,
  kDaoTableNotFound = 3078,
  kDaoInvalidStatement = 3129,
  kDaoSyntaxFrom = 3131,
  kDaoSyntaxInsert = 3134,
  kDaoSyntaxUpdate = 3144,
  kDaoConnectFailed = 3151,
  kDaoInvalidBookmark = 3159,
  kDaoFieldTooSmall = 3163,
  kDaoRecordDeleted = 3167,
  kDaoDatabaseExists = 3204,
  kDaoUpdateLocked = 3218,
  kDaoInvalidOperation = 3219,
  kDaoNotSupported = 3251,
  kDaoInvalidFieldType = 3259,
  kDaoLockedByUser = 3260,
  kDaoNoFieldDefined = 3264,
  kDaoItemNotFound = 3265,
  kDaoRequired = 3314,
  kDaoZeroLength = 3315,
  kDaoUnrecognizedFormat = 3343,
  kDaoNameInCollection = 3367,
  kDaoObjectInvalid = 3420,
  kDaoConversion = 3421,
  kDaoNotAnIndex = 3800,
};

// DAO's text for a number with its placeholders filled: "|" or "|1" takes arg1, "|2" arg2.
String DaoErrorText(int32_t number, StringView arg1 = {}, StringView arg2 = {});

// Raises the DAO error with its text.
[[noreturn]] void RaiseDao(int32_t number, StringView arg1 = {}, StringView arg2 = {});

}  // namespace kiv::dao
