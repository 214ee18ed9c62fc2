// StringsFile.h: reading a localized strings table (a ".strings" file).
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

#ifndef ZRP_TESTABLE
// The functions tests reach directly are visible outside the library.
#define ZRP_TESTABLE __attribute__((visibility("default")))
#endif

namespace zrp {

using StringsTable = std::unordered_map<std::u16string, std::u16string>;

// Reads a strings file into *table (emptied first): the platform's text form of pairs
// `"key" = "value";` with /* */ and // comments, C escapes, \Uxxxx UTF-16 units and \ooo octal
// characters, unquoted words as keys or values, `"key";` standing for `"key" = "key";`, an
// optional enclosing { }, in UTF-8 or, with a byte-order mark, UTF-16 of either byte order. A
// file that is an XML or binary property list holding a dictionary of strings is read as one.
// Returns false, with the table empty, for a file that is malformed anywhere.
ZRP_TESTABLE bool ParseStringsFile(std::string_view bytes, StringsTable* table);

}  // namespace zrp
