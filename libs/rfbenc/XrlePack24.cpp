#include "libs/rfbenc/XrlePack24.h"

#include "base/rfb/pixelAccess.h"

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace rfb {

namespace {

// First: the byte of a pixel at which its 3 bytes begin.
template <int First>
void packPlain(const uint8_t* in, uint8_t* out, int pixels) {
  for (; pixels >= 4; pixels -= 4, in += 16, out += 12) {
    const uint32_t a = loadBytes<3>(in + First);
    const uint32_t b = loadBytes<3>(in + 4 + First);
    const uint32_t c = loadBytes<3>(in + 8 + First);
    const uint32_t d = loadBytes<3>(in + 12 + First);
    storeBytes<4>(out, a | b << 24);
    storeBytes<4>(out + 4, b >> 8 | c << 16);
    storeBytes<4>(out + 8, c >> 16 | d << 8);
  }
  for (; pixels > 0; --pixels, in += 4, out += 3) memcpy(out, in + First, 3);
}

constexpr XrlePack24Ops kPlain{"plain", packPlain<0>, packPlain<1>};

#if defined(__x86_64__)

template <int First>
__attribute__((target("ssse3"))) void packSsse3(const uint8_t* in, uint8_t* out, int pixels) {
  const __m128i order = _mm_add_epi8(
      _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -2, -2, -2, -2), _mm_set1_epi8(First));
  // The four bytes too many belong to the next two pixels and are written again.
  for (; pixels >= 6; pixels -= 4, in += 16, out += 12) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(bytes, order));
  }
  packPlain<First>(in, out, pixels);
}

constexpr XrlePack24Ops kSsse3{"ssse3", packSsse3<0>, packSsse3<1>};

#elif defined(__aarch64__)

template <int First>
void packNeon(const uint8_t* in, uint8_t* out, int pixels) {
  for (; pixels >= 16; pixels -= 16, in += 64, out += 48) {
    const uint8x16x4_t bytes = vld4q_u8(in);
    const uint8x16x3_t packed{{bytes.val[First], bytes.val[First + 1], bytes.val[First + 2]}};
    vst3q_u8(out, packed);
  }
  packPlain<First>(in, out, pixels);
}

constexpr XrlePack24Ops kNeon{"neon", packNeon<0>, packNeon<1>};

#endif

}  // namespace

std::vector<const XrlePack24Ops*> usableXrlePack24Ops() {
  std::vector<const XrlePack24Ops*> usable{&kPlain};
#if defined(__x86_64__)
  if (__builtin_cpu_supports("ssse3")) usable.push_back(&kSsse3);
#elif defined(__aarch64__)
  usable.push_back(&kNeon);
#endif
  return usable;
}

const XrlePack24Ops& xrlePack24Ops() {
  static const XrlePack24Ops& fastest = *usableXrlePack24Ops().back();
  return fastest;
}

}  // namespace rfb
