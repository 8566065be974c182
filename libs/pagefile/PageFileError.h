#pragma once

#include <cstdint>

#include "base/plat/Exception.h"

namespace pagefile {

// A page file is broken. The message is "byte <offset>: " and the reason.
class PageFileError : public plat::Exception {
 public:
  PageFileError(uint64_t offset, const char* format, ...) PLAT_PRINTF(3, 4);

  // In the file, counted from 0: the first byte of a field or frame header with a bad
  // value, of what is too much, or behind the last one where something is missing. For a
  // fault in inflated data: the last byte that was read to inflate up to there, which
  // may lie one deflate symbol behind the faulty one.
  uint64_t offset;
};

}  // namespace pagefile
