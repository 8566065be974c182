#include "base/plat/logipc/Kicker.h"

namespace plat {

Kicker::Kicker(Kickee* borrowed) : kickee(borrowed), fdKicker(this) {}

void Kicker::kick() {
  fdKicker.kick(0);
}

void Kicker::kicked(io::FdKicker*) {
  // First: what is kicked from here on is a call of its own.
  fdKicker.drain();
  kickee->kicked(this);
}

}  // namespace plat
