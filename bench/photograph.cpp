// photograph WIDTH HEIGHT: writes rows of RGB pixels as a camera might deliver them: soft
// shapes of several sizes, a few hard edges, light that falls off, and grain.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

// Random values at the points of a grid, smooth in between.
class SmoothNoise {
 public:
  SmoothNoise(std::mt19937& random, double newCell) : cell(newCell), values(side * side) {
    for (float& value : values) value = static_cast<float>(random() % 1000) / 1000 - 0.5f;
  }

  double at(double x, double y) const {
    x /= cell;
    y /= cell;
    const int left = static_cast<int>(x), top = static_cast<int>(y);
    const double u = smooth(x - left), v = smooth(y - top);
    return (value(left, top) * (1 - u) + value(left + 1, top) * u) * (1 - v) +
           (value(left, top + 1) * (1 - u) + value(left + 1, top + 1) * u) * v;
  }

 private:
  static constexpr int side = 64;

  static double smooth(double t) { return t * t * (3 - 2 * t); }
  double value(int x, int y) const {
    return values[static_cast<size_t>(y % side * side + x % side)];
  }

  double cell;  // pixels
  std::vector<float> values;
};

}  // namespace

int main(int argc, char** argv) {
  const int width = argc == 3 ? atoi(argv[1]) : 0;
  const int height = argc == 3 ? atoi(argv[2]) : 0;
  if (width <= 0 || height <= 0) {
    fprintf(stderr, "Usage: photograph WIDTH HEIGHT\n");
    return 2;
  }
  std::mt19937 random(1);
  const SmoothNoise large(random, 700), middle(random, 150), small(random, 30), fine(random, 5);
  std::vector<uint8_t> row(static_cast<size_t>(width) * 3);
  for (int y = 0; y < height; ++y) {
    uint8_t* out = row.data();
    for (int x = 0; x < width; ++x) {
      const double form = large.at(x, y) + middle.at(x, y) / 2;
      const bool near = form > 0.12;
      const double detail = small.at(x, y) / 4 + fine.at(x, y) / (near ? 5 : 25);
      const double light = (near ? 0.35 : 0.75 - 0.2 * y / height) + form / 3 + detail;
      const double tint[3] = {near ? 0.75 : 0.9, near ? 0.95 : 1.0, near ? 0.6 : 1.15};
      for (double channel : tint) {
        const double grain = (static_cast<double>(random() % 1024) / 1024 - 0.5) * 0.025;
        *out++ = static_cast<uint8_t>(std::clamp((light * channel + grain) * 255, 0.0, 255.0));
      }
    }
    if (fwrite(row.data(), row.size(), 1, stdout) != 1) {
      perror("photograph");
      return 1;
    }
  }
  return fflush(stdout) == 0 ? 0 : 1;
}
