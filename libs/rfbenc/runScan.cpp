#include "libs/rfbenc/runScan.h"

#include <cstddef>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#define ALWAYS_INLINE inline __attribute__((always_inline))

namespace rfb {

namespace {

constexpr int wordPixels = 64;

// Ends among `count` <= 64 pixels of Size bytes.
template <int Size>
ALWAYS_INLINE uint64_t plainWord(const uint8_t* pixels, int count) {
  // Long runs, as in the white of a page, are left to the C library.
  if (memcmp(pixels, pixels + Size, static_cast<size_t>(count) * Size) == 0) return 0;
  uint64_t bits = 0;
  for (int i = 0; i < count; ++i, pixels += Size) {
    bits |= static_cast<uint64_t>(memcmp(pixels, pixels + Size, Size) != 0) << i;
  }
  return bits;
}

// The word of the pixels behind the last full one, and the counts. Inlined, so that it is
// compiled for the caller's instruction set.
template <int Size>
ALWAYS_INLINE RunCounts finishScan(const uint8_t* pixels, int count, uint64_t* ends) {
  if (const int left = count % wordPixels; left > 0) {
    const int full = count - left;
    ends[full / wordPixels] = plainWord<Size>(pixels + std::ptrdiff_t{full} * Size, left);
  }
  int all = 0;
  int singles = 0;
  uint64_t endBefore = 1;  // the pixel before this word, where a run ended
  for (int i = 0; i < count; i += wordPixels) {
    const uint64_t bits = *ends++;
    all += std::popcount(bits);
    singles += std::popcount(bits & (bits << 1 | endBefore));
    endBefore = bits >> 63;
  }
  return {singles, all - singles};
}

template <int Size>
RunCounts scanPlain(const uint8_t* pixels, int count, uint64_t* ends) {
  for (int i = 0; i < count / wordPixels; ++i) {
    ends[i] = plainWord<Size>(pixels + std::ptrdiff_t{i} * wordPixels * Size, wordPixels);
  }
  return finishScan<Size>(pixels, count, ends);
}

constexpr RunScanOps kPlain{"plain", scanPlain<1>, scanPlain<2>, scanPlain<4>};

#if defined(__x86_64__)

// SSE2 is part of x86-64.
ALWAYS_INLINE __m128i load(const uint8_t* from) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

// A byte, half-word or word of ones for each pixel that equals the next.
template <int Size>
ALWAYS_INLINE __m128i equalNext(const uint8_t* pixels) {
  const __m128i a = load(pixels);
  const __m128i b = load(pixels + Size);
  if constexpr (Size == 1) return _mm_cmpeq_epi8(a, b);
  if constexpr (Size == 2) return _mm_cmpeq_epi16(a, b);
  return _mm_cmpeq_epi32(a, b);
}

// The same as a byte for each of 16 pixels.
template <int Size>
ALWAYS_INLINE __m128i equalNext16(const uint8_t* pixels) {
  if constexpr (Size == 1) return equalNext<1>(pixels);
  if constexpr (Size == 2) {
    return _mm_packs_epi16(equalNext<2>(pixels), equalNext<2>(pixels + 16));
  }
  return _mm_packs_epi16(_mm_packs_epi32(equalNext<4>(pixels), equalNext<4>(pixels + 16)),
                         _mm_packs_epi32(equalNext<4>(pixels + 32), equalNext<4>(pixels + 48)));
}

template <int Size>
RunCounts scanSse2(const uint8_t* pixels, int count, uint64_t* ends) {
  const uint8_t* from = pixels;
  for (int i = 0; i < count / wordPixels; ++i) {
    uint64_t equal = 0;
    for (int j = 0; j < wordPixels; j += 16, from += 16 * Size) {
      equal |= static_cast<uint64_t>(_mm_movemask_epi8(equalNext16<Size>(from))) << j;
    }
    ends[i] = ~equal;
  }
  return finishScan<Size>(pixels, count, ends);
}

#define TARGET_AVX2 __attribute__((target("avx2,popcnt")))

template <int Size>
TARGET_AVX2 ALWAYS_INLINE __m256i wideEqualNext(const uint8_t* pixels) {
  const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pixels));
  const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pixels + Size));
  if constexpr (Size == 1) return _mm256_cmpeq_epi8(a, b);
  if constexpr (Size == 2) return _mm256_cmpeq_epi16(a, b);
  return _mm256_cmpeq_epi32(a, b);
}

// A byte for each of 32 pixels. Packing works on each half of the vectors by itself;
// the permutation puts the pixels in order again.
template <int Size>
TARGET_AVX2 ALWAYS_INLINE __m256i wideEqualNext32(const uint8_t* pixels) {
  if constexpr (Size == 1) return wideEqualNext<1>(pixels);
  if constexpr (Size == 2) {
    const __m256i packed =
        _mm256_packs_epi16(wideEqualNext<2>(pixels), wideEqualNext<2>(pixels + 32));
    return _mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0));
  }
  const __m256i packed = _mm256_packs_epi16(
      _mm256_packs_epi32(wideEqualNext<4>(pixels), wideEqualNext<4>(pixels + 32)),
      _mm256_packs_epi32(wideEqualNext<4>(pixels + 64), wideEqualNext<4>(pixels + 96)));
  return _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

template <int Size>
TARGET_AVX2 RunCounts scanAvx2(const uint8_t* pixels, int count, uint64_t* ends) {
  const uint8_t* from = pixels;
  for (int i = 0; i < count / wordPixels; ++i, from += wordPixels * Size) {
    const int low = _mm256_movemask_epi8(wideEqualNext32<Size>(from));
    const int high = _mm256_movemask_epi8(wideEqualNext32<Size>(from + 32 * Size));
    ends[i] = ~(static_cast<uint64_t>(high) << 32 | static_cast<uint32_t>(low));
  }
  return finishScan<Size>(pixels, count, ends);
}

constexpr RunScanOps kSse2{"sse2", scanSse2<1>, scanSse2<2>, scanSse2<4>};
constexpr RunScanOps kAvx2{"avx2", scanAvx2<1>, scanAvx2<2>, scanAvx2<4>};

#endif

}  // namespace

std::vector<const RunScanOps*> usableRunScanOps() {
  std::vector<const RunScanOps*> usable{&kPlain};
#if defined(__x86_64__)
  usable.push_back(&kSse2);
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt")) {
    usable.push_back(&kAvx2);
  }
#endif
  return usable;
}

const RunScanOps& runScanOps() {
  static const RunScanOps& fastest = *usableRunScanOps().back();
  return fastest;
}

}  // namespace rfb
