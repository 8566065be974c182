#include "apps/common/jobFormat.h"

#include <cstring>

namespace job {

static constexpr Format formats[] = {
    {"ZRLE", DocumentKind::pages, "zrle"},
    {"PDF", DocumentKind::pdf, "pdf"},
    {"PS", DocumentKind::postScript, "ps"},
};

const Format* findFormat(const char* name) {
  for (const Format& format : formats) {
    if (!strcmp(format.name, name)) return &format;
  }
  return nullptr;
}

}  // namespace job
