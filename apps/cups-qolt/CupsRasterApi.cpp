#include "apps/cups-qolt/CupsRasterApi.h"

#include "base/plat/DynamicFn.h"

namespace cupsraster {

namespace {

constexpr const char* libraryList = "cupsimage[2]";

template <class Function>
Function* needed(const plat::DynamicFn& found, Function&, const char* name) {
  if (!found.get()) throw plat::DynamicFnLoadFailed(name, libraryList);
  return reinterpret_cast<Function*>(found.get());
}

}  // namespace

cups_raster_t* cupsRasterOpen(int fd, cups_mode_t mode) {
  static plat::DynamicFn found(libraryList, __func__);
  return needed(found, cupsRasterOpen, __func__)(fd, mode);
}

unsigned cupsRasterReadHeader(cups_raster_t* raster, cups_page_header_t* header) {
  static plat::DynamicFn found(libraryList, __func__);
  return needed(found, cupsRasterReadHeader, __func__)(raster, header);
}

unsigned cupsRasterReadPixels(cups_raster_t* raster, unsigned char* buffer, unsigned length) {
  static plat::DynamicFn found(libraryList, __func__);
  return needed(found, cupsRasterReadPixels, __func__)(raster, buffer, length);
}

void cupsRasterClose(cups_raster_t* raster) {
  static plat::DynamicFn found(libraryList, __func__);
  needed(found, cupsRasterClose, __func__)(raster);
}

}  // namespace cupsraster
