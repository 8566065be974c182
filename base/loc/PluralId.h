#pragma once

namespace loc {

// The form of a countable text: "sing" or "many".
const char* pluralId(const char* locale, int count);

}  // namespace loc
