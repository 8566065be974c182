#pragma once

#include "base/rdr/Exceptions.h"
#include "base/rdr/InStream.h"

namespace rdr {

// Runs a reader as a sequence of steps, so that it can stop wherever a non-blocking
// input runs dry and go on later. A state is a member function of the owner: it reads
// one step, chooses the next state with go() and returns true, or returns false, or
// throws BlockException, when it cannot go on now. It is then called again with the
// input as it was, so it must not have done anything else before.
template <class Owner>
class StateMachine {
 public:
  using State = bool (Owner::*)();

  // Owner and input are borrowed.
  StateMachine(Owner* owner_, InStream* in_, State start) : owner(owner_), in(in_), state(start) {}

  void go(State next) { state = next; }
  bool isIn(State which) const { return state == which; }

  // Whether the step made progress. An input that is not rewindable waits instead, and
  // there a step that returns false is called again with what it has left.
  bool step() {
    bool progress = false;
    try {
      progress = (owner->*state)();
    } catch (const BlockException&) {
    }
    if (progress) {
      in->checkpoint();
    } else if (in->isRewindable()) {
      in->rewind();
    }
    return progress;
  }

 private:
  Owner* owner;
  InStream* in;
  State state;
};

}  // namespace rdr
