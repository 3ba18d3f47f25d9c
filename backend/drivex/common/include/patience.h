// Patience: how long a wait for a peer goes on, beside the coming of what is waited for. One wait serves
// every road of the library: it sleeps in poll, goes on after a signal, and never looks away from its
// descriptor.
#ifndef PATIENCE_H
#define PATIENCE_H

#include <functional>

struct Patience {
  // 0 to wait on, or the code that ends the wait. Asked after each look, and after each signal. None: for
  // ever.
  std::function<int()> ask;
  // Milliseconds between two looks; -1: no look by the clock.
  int look = -1;
  // A descriptor that becomes readable when it is time to ask, such as that of a process; -1 for none.
  int descriptor = -1;
};

// As long as the peer lives, which is asked at short intervals. A peer that is gone gives `code`.
Patience WhileAlive(const std::function<bool()>& peer_alive, int code);

// Waits for one of `events` on the descriptor, as poll knows them, or for the hang-up of its other end. 0, or
// the code of `patience`. What is there goes first: the descriptor is looked at once more behind that code,
// so that a last message is not lost.
int AwaitEvents(int descriptor, short events, const Patience& patience);

// Sleeps that long whatever signals come; msleep ends at the first.
void Pause(int milliseconds);

// VEXA_QUICK is in the environment: nobody pauses for a program to fail in, or to end in, where its first
// word or its end tells by itself.
bool Quick();
// Lets a program fail that fails at once.
void PauseForStart(int milliseconds);

#endif
