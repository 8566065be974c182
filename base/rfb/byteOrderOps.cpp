#include "base/rfb/byteOrderOps.h"

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace rfb {

namespace {

void expandPlain(const uint8_t* in, uint8_t* out, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i, in += 3, out += 4) {
    out[0] = in[2];
    out[1] = in[1];
    out[2] = in[0];
    out[3] = 0;
  }
}

void shrinkPlain(const uint8_t* in, uint8_t* out, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i, in += 4, out += 3) {
    out[0] = in[2];
    out[1] = in[1];
    out[2] = in[0];
  }
}

void swapPlain(const uint8_t* in, uint8_t* out, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i, in += 4, out += 4) {
    out[0] = in[2];
    out[1] = in[1];
    out[2] = in[0];
    out[3] = in[3];
  }
}

constexpr ByteOrderOps kPlain{"plain", expandPlain, shrinkPlain, swapPlain};

#if defined(__x86_64__)

// A row whose length is no multiple of the vector ends with a vector that starts early and
// writes some pixels a second time.

#define TARGET_SSSE3 __attribute__((target("ssse3")))
#define TARGET_AVX2 __attribute__((target("avx2")))
#define ALWAYS_INLINE inline __attribute__((always_inline))

TARGET_SSSE3 ALWAYS_INLINE __m128i load(const uint8_t* from) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

TARGET_SSSE3 ALWAYS_INLINE void store(uint8_t* to, __m128i value) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), value);
}

// Four pixels whose 12 bytes are the first of the vector.
TARGET_SSSE3 ALWAYS_INLINE __m128i expandLow(__m128i bytes) {
  return _mm_shuffle_epi8(bytes,
                          _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1));
}

// Four pixels whose 12 bytes are the last of the vector.
TARGET_SSSE3 ALWAYS_INLINE __m128i expandHighMask() {
  return _mm_setr_epi8(6, 5, 4, -1, 9, 8, 7, -1, 12, 11, 10, -1, 15, 14, 13, -1);
}

// Goes on at pixel i >= 4 of a row of at least 6.
TARGET_SSSE3 ALWAYS_INLINE void expandRest(const uint8_t* in, uint8_t* out, size_t pixels,
                                           size_t i) {
  __m128i mask = expandHighMask();
  for (; i + 4 <= pixels; i += 4) {
    store(out + 4 * i, _mm_shuffle_epi8(load(in + 3 * i - 4), mask));
  }
  if (i < pixels) {
    i = pixels - 4;
    store(out + 4 * i, _mm_shuffle_epi8(load(in + 3 * i - 4), mask));
  }
}

TARGET_SSSE3 void expandSsse3(const uint8_t* in, uint8_t* out, size_t pixels) {
  if (pixels < 6) return expandPlain(in, out, pixels);
  store(out, expandLow(load(in)));
  expandRest(in, out, pixels, 4);
}

TARGET_AVX2 void expandAvx2(const uint8_t* in, uint8_t* out, size_t pixels) {
  if (pixels < 6) return expandPlain(in, out, pixels);
  store(out, expandLow(load(in)));
  __m256i mask = _mm256_broadcastsi128_si256(expandHighMask());
  size_t i = 4;
  for (; i + 8 <= pixels; i += 8) {
    __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(load(in + 3 * i - 4)),
                                            load(in + 3 * i + 8), 1);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * i), _mm256_shuffle_epi8(bytes, mask));
  }
  expandRest(in, out, pixels, i);
}

TARGET_SSSE3 void shrinkSsse3(const uint8_t* in, uint8_t* out, size_t pixels) {
  if (pixels < 4) return shrinkPlain(in, out, pixels);
  __m128i mask = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  size_t i = 0;
  // The four bytes too many belong to the next pixels of the row and are written again.
  for (; i + 6 <= pixels; i += 4) {
    store(out + 3 * i, _mm_shuffle_epi8(load(in + 4 * i), mask));
  }
  while (i < pixels) {
    if (i + 4 > pixels) i = pixels - 4;
    __m128i packed = _mm_shuffle_epi8(load(in + 4 * i), mask);
    _mm_storeu_si64(out + 3 * i, packed);
    _mm_storeu_si32(out + 3 * i + 8, _mm_srli_si128(packed, 8));
    i += 4;
  }
}

TARGET_SSSE3 ALWAYS_INLINE __m128i swapMask() {
  return _mm_setr_epi8(2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15);
}

// Goes on at pixel i of a row of at least 4.
TARGET_SSSE3 ALWAYS_INLINE void swapRest(const uint8_t* in, uint8_t* out, size_t pixels, size_t i) {
  __m128i mask = swapMask();
  while (i < pixels) {
    if (i + 4 > pixels) i = pixels - 4;
    store(out + 4 * i, _mm_shuffle_epi8(load(in + 4 * i), mask));
    i += 4;
  }
}

TARGET_SSSE3 void swapSsse3(const uint8_t* in, uint8_t* out, size_t pixels) {
  if (pixels < 4) return swapPlain(in, out, pixels);
  swapRest(in, out, pixels, 0);
}

TARGET_AVX2 void swapAvx2(const uint8_t* in, uint8_t* out, size_t pixels) {
  if (pixels < 4) return swapPlain(in, out, pixels);
  __m256i mask = _mm256_broadcastsi128_si256(swapMask());
  size_t i = 0;
  for (; i + 8 <= pixels; i += 8) {
    __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 4 * i));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * i), _mm256_shuffle_epi8(bytes, mask));
  }
  swapRest(in, out, pixels, i);
}

constexpr ByteOrderOps kSsse3{"ssse3", expandSsse3, shrinkSsse3, swapSsse3};
constexpr ByteOrderOps kAvx2{"avx2", expandAvx2, shrinkSsse3, swapAvx2};

#elif defined(__aarch64__)

void expandNeon(const uint8_t* in, uint8_t* out, size_t pixels) {
  size_t i = 0;
  for (; i + 16 <= pixels; i += 16) {
    uint8x16x3_t bytes = vld3q_u8(in + 3 * i);
    uint8x16x4_t pixel{{bytes.val[2], bytes.val[1], bytes.val[0], vdupq_n_u8(0)}};
    vst4q_u8(out + 4 * i, pixel);
  }
  expandPlain(in + 3 * i, out + 4 * i, pixels - i);
}

void shrinkNeon(const uint8_t* in, uint8_t* out, size_t pixels) {
  size_t i = 0;
  for (; i + 16 <= pixels; i += 16) {
    uint8x16x4_t bytes = vld4q_u8(in + 4 * i);
    uint8x16x3_t pixel{{bytes.val[2], bytes.val[1], bytes.val[0]}};
    vst3q_u8(out + 3 * i, pixel);
  }
  shrinkPlain(in + 4 * i, out + 3 * i, pixels - i);
}

void swapNeon(const uint8_t* in, uint8_t* out, size_t pixels) {
  size_t i = 0;
  for (; i + 16 <= pixels; i += 16) {
    uint8x16x4_t bytes = vld4q_u8(in + 4 * i);
    uint8x16x4_t pixel{{bytes.val[2], bytes.val[1], bytes.val[0], bytes.val[3]}};
    vst4q_u8(out + 4 * i, pixel);
  }
  swapPlain(in + 4 * i, out + 4 * i, pixels - i);
}

constexpr ByteOrderOps kNeon{"neon", expandNeon, shrinkNeon, swapNeon};

#endif

}  // namespace

std::vector<const ByteOrderOps*> usableByteOrderOps() {
  std::vector<const ByteOrderOps*> usable{&kPlain};
#if defined(__x86_64__)
  if (__builtin_cpu_supports("ssse3")) usable.push_back(&kSsse3);
  if (__builtin_cpu_supports("avx2")) usable.push_back(&kAvx2);
#elif defined(__aarch64__)
  usable.push_back(&kNeon);
#endif
  return usable;
}

const ByteOrderOps& byteOrderOps() {
  static const ByteOrderOps& fastest = *usableByteOrderOps().back();
  return fastest;
}

}  // namespace rfb
