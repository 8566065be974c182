#pragma once

#include <cstddef>

// The raster functions of the CUPS imaging library as the CUPS documentation has
// them, without its headers: the library is loaded when a function is first called.
// Each throws plat::DynamicFnLoadFailed when the library, or the function, is missing.
namespace cupsraster {

// The version-1 page header.
struct cups_page_header_t {
  char MediaClass[64];
  char MediaColor[64];
  char MediaType[64];
  char OutputType[64];
  unsigned AdvanceDistance;
  unsigned AdvanceMedia;
  unsigned Collate;
  unsigned CutMedia;
  unsigned Duplex;
  unsigned HWResolution[2];  // dots per inch, horizontal and vertical
  unsigned ImagingBoundingBox[4];
  unsigned InsertSheet;
  unsigned Jog;
  unsigned LeadingEdge;
  unsigned Margins[2];
  unsigned ManualFeed;
  unsigned MediaPosition;
  unsigned MediaWeight;
  unsigned MirrorPrint;
  unsigned NegativePrint;
  unsigned NumCopies;
  unsigned Orientation;
  unsigned OutputFaceUp;
  unsigned PageSize[2];  // points
  unsigned Separations;
  unsigned TraySwitch;
  unsigned Tumble;
  unsigned cupsWidth;   // pixels
  unsigned cupsHeight;  // pixels
  unsigned cupsMediaType;
  unsigned cupsBitsPerColor;
  unsigned cupsBitsPerPixel;
  unsigned cupsBytesPerLine;
  unsigned cupsColorOrder;
  unsigned cupsColorSpace;
  unsigned cupsCompression;
  unsigned cupsRowCount;
  unsigned cupsRowFeed;
  unsigned cupsRowStep;
};
static_assert(sizeof(cups_page_header_t) == 420);
static_assert(offsetof(cups_page_header_t, HWResolution) == 276);
static_assert(offsetof(cups_page_header_t, PageSize) == 352);
static_assert(offsetof(cups_page_header_t, cupsWidth) == 372);
static_assert(offsetof(cups_page_header_t, cupsHeight) == 376);
static_assert(offsetof(cups_page_header_t, cupsBitsPerColor) == 384);
static_assert(offsetof(cups_page_header_t, cupsBitsPerPixel) == 388);
static_assert(offsetof(cups_page_header_t, cupsBytesPerLine) == 392);
static_assert(offsetof(cups_page_header_t, cupsColorSpace) == 400);

constexpr unsigned CUPS_CSPACE_RGB = 1;

enum cups_mode_t { CUPS_RASTER_READ = 0 };

struct cups_raster_t;  // an open stream

// Reads the first word of a stream. Null on failure. The descriptor stays the
// caller's.
cups_raster_t* cupsRasterOpen(int fd, cups_mode_t mode);
// Not 0 when a page follows; 0 at the end, and on damage.
unsigned cupsRasterReadHeader(cups_raster_t* raster, cups_page_header_t* header);
// How many bytes were read; fewer at the end of the page's data, and on damage.
unsigned cupsRasterReadPixels(cups_raster_t* raster, unsigned char* buffer, unsigned length);
void cupsRasterClose(cups_raster_t* raster);

}  // namespace cupsraster
