// The catalog of a database on a server, where the model keeps DAO's definitions in a catalog
// table of its own (see server_catalog.cc).
#pragma once

#include "dao/schema.h"

namespace kiv::dao::detail {

const Catalog& ServerCatalog();

}  // namespace kiv::dao::detail
