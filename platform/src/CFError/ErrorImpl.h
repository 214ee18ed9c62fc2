// ErrorImpl.h: the error objects the host's own services hand out.
#pragma once

#include <CoreFoundation/CFError.h>

#include <string>

namespace zrp {

// Foundation's code for an object that the property-list format asked for cannot hold (domain
// kCFErrorDomainCocoa), beside the reading and stream codes of CFPropertyList.h.
enum : CFIndex { kPropertyListWriteInvalidError = 3852 };

// A new error in kCFErrorDomainCocoa whose user information holds the text (UTF-8) under
// "NSDebugDescription", as the platform's property-list services report; NULL when it cannot be made.
CFErrorRef CreatePropertyListError(CFIndex code, const std::string& debugDescription);

}  // namespace zrp
