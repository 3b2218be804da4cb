#include "kivdbxt/kiv_blob_type.h"

#include "frame/factory.h"

namespace kiv {
namespace {

const ClassRegistrar kRegistrar(u"KivBlobType", [] {
  return std::static_pointer_cast<Object>(std::make_shared<KivBlobType>());
});

}  // namespace
}  // namespace kiv
