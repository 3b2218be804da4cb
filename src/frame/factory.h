// Class factory registration: each creatable class registers its constructor under its name.
#pragma once

#include <memory>

#include "kivdbxt/types.h"

namespace kiv {

using ObjectConstructor = std::shared_ptr<Object> (*)();

// Registers at static initialisation: `static const ClassRegistrar reg(u"KivLog", &Make);`.
struct ClassRegistrar {
  ClassRegistrar(const char16_t* class_name, ObjectConstructor make);
};

}  // namespace kiv
