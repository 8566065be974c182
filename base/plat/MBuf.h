#pragma once

#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

#include "base/plat/SecureString.h"
#include "base/plat/String.h"

namespace plat {

// Owned buffer of `size` items. With the wipe flag set the bytes are overwritten
// before memory is released, also when the size changes. The flag goes along with
// the contents and an assignment does not clear it. Precondition: sizes >= 0.
// Allocation failure throws std::bad_alloc.
template <class T>
class MBuf {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  explicit MBuf(int size = 0, bool wipe = false) : wipeFlag(wipe) { resize(size); }
  MBuf(const T* source, int size, bool wipe = false) : MBuf(size, wipe) {
    if (size > 0) memcpy(items, source, sizeof(T) * size);
  }
  MBuf(const MBuf& other) : MBuf(other.items, other.count, other.wipeFlag) {}
  MBuf(MBuf&& other) noexcept : wipeFlag(other.wipeFlag) { swap(other); }
  MBuf& operator=(MBuf other) noexcept {
    bool wipe = wipeFlag || other.wipeFlag;
    swap(other);
    wipeFlag = wipe;
    return *this;
  }
  ~MBuf() { clear(); }

  T* data() { return items; }
  const T* data() const { return items; }
  int size() const { return count; }
  void setWipe(bool wipe) { wipeFlag = wipe; }

  // Keeps the items that fit; new items are zero.
  void resize(int newSize) {
    if (newSize == count) return;
    MBuf bigger;
    bigger.wipeFlag = wipeFlag;
    if (newSize > 0) {
      bigger.items = static_cast<T*>(heapAlloc(sizeof(T) * static_cast<size_t>(newSize)));
      bigger.count = newSize;
      int kept = count < newSize ? count : newSize;
      if (kept > 0) memcpy(bigger.items, items, sizeof(T) * kept);
      memset(static_cast<void*>(bigger.items + kept), 0, sizeof(T) * (newSize - kept));
    }
    swap(bigger);
  }
  void clear() {
    if (wipeFlag && items) secureWipe(items, sizeof(T) * count);
    free(items);
    items = nullptr;
    count = 0;
  }
  void swap(MBuf& other) noexcept {
    std::swap(count, other.count);
    std::swap(items, other.items);
    std::swap(wipeFlag, other.wipeFlag);
  }
  bool operator==(const MBuf& other) const {
    return count == other.count && (count == 0 || !memcmp(items, other.items, sizeof(T) * count));
  }

 private:
  int count = 0;
  T* items = nullptr;
  bool wipeFlag = false;
};

}  // namespace plat
