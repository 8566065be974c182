#pragma once

#include "base/plat/DString.h"

namespace rdr {
class InStream;
}

namespace loc {

class TransMap;

// The text of a ".po" file:
//   entry := "msgid" blank string LF (string LF)*
//            "msgstr" blank string LF (string LF)* (LF | end of the text)
// Lines that begin with "#" are comments. A bad line is logged under `name` and passed
// over. Throws what the stream throws, but for its end.
void loadPo(rdr::InStream& in, const char* name, const char* locale, TransMap& map);

// The resource "strings.<locale>.po" or the file of that name, if there is one. Failures
// are logged; what was read before stays.
void loadBuiltInStrings(const char* locale, TransMap& map);
void loadStringsFile(const char* directory, const char* locale, TransMap& map);

// Appends the content of a string field of such a file, escapes replaced:
//   field := blank* '"' (character | '\' one of abfnrtv\?'")* '"'
// Throws plat::Exception, with nothing appended.
void appendPoString(plat::DString& out, const char* field);

}  // namespace loc
