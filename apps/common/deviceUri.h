#pragma once

#include <cstdint>

#include "apps/common/jobFormat.h"
#include "base/plat/String.h"

// Takes qolt:/FORMAT/UID@NAME apart; text from a "/" behind NAME on is ignored. An
// empty field is a field. A negative UID wraps to its unsigned value. A field whose
// output is null is not parsed. False when the text, which may be null, is no such
// URI; the outputs then hold nothing of use.
bool parseDeviceUri(const char* uri, plat::String* format, uint32_t* uid, plat::String* name);

// The same for qolt-user:/FORMAT/NAME. FORMAT must be one that there is, and NAME must neither be
// empty nor hold a "/".
bool parseUserUri(const char* uri, const job::Format** format, plat::String* name);
