#pragma once

#include "apps/cups-qolt/CupsRasterApi.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"

namespace cupsraster {

// The raster streams that come one behind the other on a descriptor: CUPS sends one for
// every file of a job, and one for a banner page. The imaging library ends at the end of
// the first. A stream that follows is seen by its sync word before the library takes it
// for a page header, which needs a pipe or a regular file and an uncompressed stream
// before it: the library reads ahead in a compressed one.
class RasterStreams : private plat::NonCopyable {
 public:
  // The descriptor is borrowed. `newName` is what messages call it.
  RasterStreams(int newFd, const char* newName);

  // At the start of a stream; the caller owns what is returned. Throws
  // plat::ExceptionFmt "cupsRasterOpen('%s') failed", and as openFollowing() does.
  cups_raster_t* open();
  // Where a page header, or the end, is due in the stream opened last: opens the stream
  // that starts here instead; null when none does. Waits until that is known. Throws
  // plat::SystemException "pread", "tee" or "pipe2" when it cannot be found out.
  cups_raster_t* openFollowing();

 private:
  int fd;
  plat::String name;
  bool readsAhead = true;  // also when it cannot be known
};

}  // namespace cupsraster
