// Makers of the automation object of each library class (one reference each).
#pragma once

#include <memory>
#include <vector>

#include "com/system.h"
#include "kivdbxt/variant.h"

namespace kiv {
class Object;
class Collection;
class KivBlobType;
class KivLog;
class KivLogFile;
class KivLogEvent;
class KivLogFilter;
class KivLogInfo;
class KivSector;
class QvDbXt;
}  // namespace kiv

namespace kiv::com {

IDispatch* WrapLog(std::shared_ptr<KivLog> log);
IDispatch* WrapLogFile(std::shared_ptr<KivLogFile> log);
IDispatch* WrapInfo(std::shared_ptr<KivLogInfo> info);
IDispatch* WrapEvent(std::shared_ptr<KivLogEvent> event);
IDispatch* WrapFilter(std::shared_ptr<KivLogFilter> filter);
IDispatch* WrapSector(std::shared_ptr<KivSector> sector);
IDispatch* WrapQvDbXt(std::shared_ptr<QvDbXt> helpers);
IDispatch* WrapBlob(std::shared_ptr<KivBlobType> blob);
IDispatch* WrapCollection(std::shared_ptr<Collection> collection);
IDispatch* MakeLastError();
// The enumerator For Each walks: a snapshot of items (one reference).
IUnknown* EnumerateVariants(std::vector<Variant> items);
// The DAO model's objects (nullptr for anything else), and the creatable DBEngine.
IDispatch* WrapDao(const std::shared_ptr<Object>& object);
IDispatch* MakeEngine();

}  // namespace kiv::com
