// IDispatch through the type library, behind the argument normaliser that scripts need.
#pragma once

#include "com/system.h"

namespace kiv::com {

// The type library embedded in this module (resource TYPELIB 1), loaded once; nullptr when it
// cannot be loaded.
ITypeLib* TypeLibrary();
// The type description of an interface of that library (borrowed, not AddRef'ed).
ITypeInfo* TypeInfoOf(REFGUID iid);

// Calls a member of a dual interface the way a compiled client would. The caller's arguments
// are first brought to the declared parameter types on a copy of DISPPARAMS: a script's variable
// passed to a typed by-reference parameter (VT_BYREF|VT_VARIANT) is converted to the
// parameter's type and the value the member leaves there is written back into the variable
// after the call; an omitted optional parameter gets its declared default, or the zero value of
// its type. Then DispInvoke does the call.
HRESULT InvokeNormalised(void* object, ITypeInfo* type, DISPID id, WORD flags, DISPPARAMS* params,
                         VARIANT* result, EXCEPINFO* exception, UINT* arg_error);

}  // namespace kiv::com
