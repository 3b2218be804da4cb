// The system's headers for the automation server, without the macros of <windows.h> that
// carry the names of the library's constants (EVENTLOG_*) and of KivLogFile's members
// (OpenEventLog, ReportEvent, ...). Every file of the server includes it, never <windows.h>.
#pragma once

#include <windows.h>
// <windows.h> first: the COM headers below need its types.
#include <cguid.h>
#include <oaidl.h>
#include <ocidl.h>
#include <oleauto.h>
#include <olectl.h>

#undef EVENTLOG_SUCCESS
#undef EVENTLOG_ERROR_TYPE
#undef EVENTLOG_WARNING_TYPE
#undef EVENTLOG_INFORMATION_TYPE
#undef EVENTLOG_AUDIT_SUCCESS
#undef EVENTLOG_AUDIT_FAILURE
#undef BackupEventLog
#undef OpenEventLog
#undef ReadEventLog
#undef ReportEvent
