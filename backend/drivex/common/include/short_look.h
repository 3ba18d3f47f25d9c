// A look at a descriptor ahead of a wait that blocks: being woken up costs more than most replies take. It
// costs at most 50 us of processor time, and lets others have the core between two glances. One that found
// nothing in its time, or too late, since others kept the core, is followed by waits that block at once, more
// of them each time, until one finds something again. Nobody looks where only one core is allowed, or where
// VEXA_SPIN is 0 in the environment. For one user at a time.
#ifndef SHORT_LOOK_H
#define SHORT_LOOK_H

class ShortLook {
 public:
  // Whether there is something to read. False says nothing, neither that nor whether the writers have gone.
  bool Finds(int descriptor);

 private:
  int blocking_waits = 0;  // until the next look
  int after_next_miss = 1;
};

#endif
