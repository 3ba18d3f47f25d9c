// Ctrl-C, and requests to end. Signals only leave a note here; whoever waits looks for it.
#ifndef INTERRUPTS_H
#define INTERRUPTS_H

void WatchSignals();
// Ctrl-C came since the last TakeInterrupt, or the program was asked to end, for which there is no taking.
bool Interrupted();
bool AskedToEnd();
void TakeInterrupt();

#endif
