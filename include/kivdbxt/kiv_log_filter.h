// KivLogFilter: the checks an event of a daily log must pass.
#pragma once

#include <cstdint>
#include <memory>

#include "kivdbxt/collection.h"
#include "kivdbxt/constants.h"
#include "kivdbxt/export.h"
#include "kivdbxt/kiv_log_event.h"
#include "kivdbxt/types.h"

namespace kiv {

class KIV_API KivLogFilter : public Object {
 public:
  // A filter that checks nothing: no check enabled, every list empty.
  KivLogFilter() = default;

  // The enabled checks, LOGFILTERFLAGS combined with OR; adding items enables nothing.
  int32_t Checks() const { return checks_; }
  void Checks(int32_t value) { checks_ = value; }
  // The first moment the date check lets through (a full date and time, inclusive).
  Date DateStart() const { return date_start_; }
  void DateStart(Date value) { date_start_ = value; }
  // The last moment the date check lets through (a full date and time, inclusive).
  Date DateEnd() const { return date_end_; }
  void DateEnd(Date value) { date_end_ = value; }

  // Adds an item unless the list holds it already (text items compare exactly).
  void TypesAdd(int32_t nValue);
  void IdsAdd(int32_t nValue);
  void CategoriesAdd(const String& nValue);
  void UsersAdd(const String& nValue);
  void ComputersAdd(const String& nValue);
  void SourcesAdd(const String& nValue);
  void ServersAdd(const String& nValue);
  void RawDatasAdd(const String& nValue);

  // Empties the list.
  void TypesClear() { types_.clear(); }
  void IdsClear() { ids_.clear(); }
  void CategoriesClear() { categories_.clear(); }
  void UsersClear() { users_.clear(); }
  void ComputersClear() { computers_.clear(); }
  void SourcesClear() { sources_.clear(); }
  void ServersClear() { servers_.clear(); }
  void RawDatasClear() { raw_datas_.clear(); }

  // Each read builds a new collection of the list's items in the order added.
  std::shared_ptr<Collection> Types() const;
  std::shared_ptr<Collection> Ids() const;
  std::shared_ptr<Collection> Categories() const;
  std::shared_ptr<Collection> Users() const;
  std::shared_ptr<Collection> Computers() const;
  std::shared_ptr<Collection> Sources() const;
  std::shared_ptr<Collection> Servers() const;
  std::shared_ptr<Collection> RawDatas() const;

  // Copies dates, the eight lists (whole) and the checks into Filter. Always False.
  bool CopyTo(const std::shared_ptr<KivLogFilter>& Filter) const;
  // True when the event passes every enabled check. A null event passes only with checks 0.
  bool IsValid(const std::shared_ptr<KivLogEvent>& Eve) const;
  bool IsValid(const KivLogEvent& Eve) const;

 private:
  int32_t checks_ = 0;
  Date date_start_ = 0;
  Date date_end_ = 0;
  String types_;
  String categories_;
  String ids_;
  String users_;
  String computers_;
  String sources_;
  String servers_;
  String raw_datas_;
};

}  // namespace kiv
