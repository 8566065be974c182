#include "base/rfb/byteOrderOps.h"

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace rfb {

namespace {

// Exchanges bytes 0 and 2. A byte 3 that only the output has is zero.
template <int In, int Out>
void convertPlain(const uint8_t* in, uint8_t* out, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i, in += In, out += Out) {
    out[0] = in[2];
    out[1] = in[1];
    out[2] = in[0];
    if constexpr (Out == 4) out[3] = In == 4 ? in[3] : 0;
  }
}

#if defined(__x86_64__)

// Four pixels: their 12 bytes are picked from 16 by `order`.
__attribute__((target("ssse3"))) inline void expandFour(const uint8_t* in, uint8_t* out,
                                                        __m128i order) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(bytes, order));
}

// The four bytes too many of the first vector are those of the next pixels; all others begin
// with the pixel before. The last one may convert some pixels a second time.
__attribute__((target("ssse3"))) void expandSsse3(const uint8_t* in, uint8_t* out, size_t pixels) {
  if (pixels < 6) return convertPlain<3, 4>(in, out, pixels);
  expandFour(in, out, _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1));
  const __m128i order = _mm_setr_epi8(6, 5, 4, -1, 9, 8, 7, -1, 12, 11, 10, -1, 15, 14, 13, -1);
  size_t i = 4;
  for (; i + 4 <= pixels; i += 4) expandFour(in + 3 * i - 4, out + 4 * i, order);
  if (i < pixels) {
    i = pixels - 4;
    expandFour(in + 3 * i - 4, out + 4 * i, order);
  }
}

#elif defined(__aarch64__)

void expandNeon(const uint8_t* in, uint8_t* out, size_t pixels) {
  size_t i = 0;
  for (; i + 16 <= pixels; i += 16) {
    uint8x16x3_t bytes = vld3q_u8(in + 3 * i);
    uint8x16x4_t pixel{{bytes.val[2], bytes.val[1], bytes.val[0], vdupq_n_u8(0)}};
    vst4q_u8(out + 4 * i, pixel);
  }
  convertPlain<3, 4>(in + 3 * i, out + 4 * i, pixels - i);
}

#endif

}  // namespace

ByteOrderOp expand24To32() {
  static const ByteOrderOp fastest = usableExpand24To32().back().convert;
  return fastest;
}

ByteOrderOp shrink32To24() {
  return convertPlain<4, 3>;
}

ByteOrderOp swapRedBlue32() {
  return convertPlain<4, 4>;
}

std::vector<Expand24To32> usableExpand24To32() {
  std::vector<Expand24To32> usable{{"plain", convertPlain<3, 4>}};
#if defined(__x86_64__)
  if (__builtin_cpu_supports("ssse3")) usable.push_back({"ssse3", expandSsse3});
#elif defined(__aarch64__)
  usable.push_back({"neon", expandNeon});
#endif
  return usable;
}

}  // namespace rfb
