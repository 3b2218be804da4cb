// Enumerations and records shared by the library's classes.
#pragma once

#include <cstdint>

#include "kivdbxt/export.h"
#include "kivdbxt/types.h"

namespace kiv {

enum KivLogType : int32_t {
  EVENTLOG_SUCCESS = 0,
  EVENTLOG_ERROR_TYPE = 1,
  EVENTLOG_WARNING_TYPE = 2,
  EVENTLOG_INFORMATION_TYPE = 4,
  EVENTLOG_AUDIT_SUCCESS = 8,
  EVENTLOG_AUDIT_FAILURE = 16,
};

enum RawDataTypeConst : int32_t {
  RWDT_ASCII = 0,
  RWDT_BINARY = 1,
};

enum QvDbXtConst : int32_t {
  DEFAULTTEXTLEN = 20,
};

enum KivLogWrapping : int32_t {
  KLFWM_OVERWRITEASNEEDED = 0,
  KLFWM_OVERWRITEOLDER = -1,
  KLFWM_DONTOVERWRITE = -2,
};

enum ReadEventLogFlags : int32_t {
  ELREF_FIRST = 0,
  ELREF_NEXT = 1,
  ELREF_LAST = 2,
  ELREF_COUNT = 3,
  ELREF_ABSOLUTE = 4,
};

enum ReservedConst : int32_t {
  ELRC_BACKUPCURRENTREC = 1,
  ELRC_BACKUPASTEXT = 2,
};

enum EventLogOpen_Mode : int32_t {
  ELOF_OPEN_EXISTING = 0,
  ELOF_CREATE_NEW = 1,
  ELOF_CREATE_ALWAYS = 2,
  ELOF_OPENALWAYS = 3,
  ELOF_BACKUP_IFEXISTS = 4,
};

enum KivLogInfo_Options : int32_t {
  KIVLIOPT_DONTCHANGEFILE = 1,
  // Records are written in UTF-8 instead of Windows-1252; readers tell them apart per record.
  KIVLIOPT_UTF8 = 2,
  // An addition of this library: the open log keeps its two files open between writes and locks
  // them for each write; a write that finds them removed or renamed reopens the day's files.
  KIVLIOPT_KEEPOPEN = 4,
};

enum LOGFILTERFLAGS : int32_t {
  LGFF_CHECKDATE = 1,
  LGFF_CHECKTYPE = 2,
  LGFF_CHECKCATEGORY = 4,
  LGFF_CHECKID = 8,
  LGFF_CHECKUSER = 16,
  LGFF_CHECKCOMPUTER = 32,
  LGFF_CHECKSOURCE = 64,
  LGFF_CHECKSERVER = 128,
  LGFF_CHECKRAWDATA = 256,
};

// One record of the database event log, as handed out by reading.
struct KIV_API LOGRECORDTYPE {
  int32_t EvUnk = 0;   // the tick count stored with the record (UNK)
  Date EvDate = 0;     // when it was reported
  int32_t EvType = 0;  // its KivLogType
  String EvCategory;   // its category
  int32_t EvId = 0;    // its event id
  String EvUser;       // the user name stored with it
  String EvComputer;   // the computer name stored with it
  String EvSource;     // its source
  String EvServer;     // its server
  String EvRawData;    // its raw data, after the letter "A" (text) or "B" (binary)
};

}  // namespace kiv
