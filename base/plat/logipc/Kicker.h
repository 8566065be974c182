#pragma once

#include "base/io/unix/FdKicker.h"

namespace plat {

class Kicker;

class Kickee {
 public:
  // In the thread that made the kicker, once for all kicks up to now. Must not destroy
  // the kicker.
  virtual void kicked(Kicker* kicker) = 0;
  virtual ~Kickee() = default;
};

// Wakes the thread that made it, which has a current io::FdManager.
class Kicker : private io::FdKickerCallback {
 public:
  // The kickee is borrowed. Throws plat::SystemException.
  explicit Kicker(Kickee* kickee);
  // From any thread.
  void kick();

 private:
  void kicked(io::FdKicker*) override;

  Kickee* kickee;
  io::FdKicker fdKicker;
};

}  // namespace plat
