// Collection.h: what arrays and dictionaries share: the base class through which each can
// describe itself nested inside the other, and the element descriptions NSArray and
// NSDictionary print (nested collections indented by four spaces a level, strings quoted
// where an old-style property list would quote them).
#pragma once

#include <CoreFoundation/CFBase.h>

#include <string>

#include "runtime/Object.h"

namespace zrp {

class Collection : public Object {
 public:
  using Object::Object;

  // Appends the description as printed at nesting depth level (0 at the top).
  virtual void appendDescription(int level, std::u16string* out) const = 0;

  CFStringRef copyDescription() const override;
};

// Appends the description of one element of a collection printed at depth level.
// copyDescription is the collection's description callback: CFCopyDescription for object
// elements (which gives nested collections and quoted strings), NULL for raw pointers.
void AppendElementDescription(const void* value, CFStringRef (*copyDescription)(const void*), int level,
                              std::u16string* out);

// Four spaces per level.
void AppendIndent(int level, std::u16string* out);

}  // namespace zrp
