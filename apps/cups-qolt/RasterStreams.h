#pragma once

#include <functional>
#include <utility>

#include "apps/cups-qolt/CupsRasterApi.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"

namespace cupsraster {

// The raster streams that come one behind the other on a descriptor, as one sequence of
// pages: CUPS sends one for every file of a job, and one for a banner page. The imaging
// library ends at the end of the first. A stream that follows is seen by its sync word before
// the library takes it for a page header, which needs a pipe or a regular file and an
// uncompressed stream before it: the library reads ahead in a compressed one.
class RasterStreams : private plat::NonCopyable {
 public:
  // Opens the first stream. The descriptor is borrowed. `newName` is what messages call it.
  // Throws plat::ExceptionFmt "cupsRasterOpen('%s') failed", and plat::SystemException "pread",
  // "tee" or "pipe2" when it cannot be seen what comes.
  RasterStreams(int newFd, const char* newName);
  ~RasterStreams();

  // Of the next page, in whichever stream; false when there is none. Precondition: the lines of
  // the page before were read. Throws as the constructor does.
  bool nextHeader(cups_page_header_t* header);
  // Of the lines of that page. Returns how many bytes were read; fewer at their end, and on
  // damage.
  unsigned readPixels(unsigned char* buffer, unsigned length);
  // What readPixels() does while nothing has come that it could read, in small steps. Null, as at
  // first, is nothing.
  void setIdleWork(std::function<bool()> newIdleWork) { idleWork = std::move(newIdleWork); }

 private:
  cups_raster_t* open();
  bool openFollowing();

  int fd;
  plat::String name;
  bool readsAhead = true;  // also when it cannot be known
  cups_raster_t* raster;
  std::function<bool()> idleWork;
};

}  // namespace cupsraster
