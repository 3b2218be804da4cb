// The compiled part of the Python package kivdbxt: every public class of the library with its
// own names, over the public C++ API only.
#include "bind.h"

PYBIND11_MODULE(_kivdbxt, m) {
  m.doc() = "kivdbxt: daily logs, the database event log and the DAO helpers";
  m.attr("__version__") = KIV_VERSION;
  kivpy::InitConvert(m);
  kivpy::BindConstants(m);
  kivpy::BindFrame(m);
  auto dao = m.def_submodule("dao", "The DAO-shaped database objects over SQLite");
  kivpy::BindDao(dao);
  kivpy::BindEvents(m);
  kivpy::BindDailyLogs(m);
  kivpy::BindDatabaseLog(m);
  kivpy::BindHelpers(m);
  kivpy::BindSector(m);
  kivpy::BindDocs(m);
}
