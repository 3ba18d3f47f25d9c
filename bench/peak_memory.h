// Peak memory, as the system counts it, of this process and of the engine that it started.
#ifndef BENCH_PEAK_MEMORY_H
#define BENCH_PEAK_MEMORY_H

#include <sys/types.h>

#include <functional>

// The child that was started last; 0 for none.
pid_t Engine();

// Does the work, and prints what it added to the peaks of both. False when the work failed.
bool PrintPeak(const char* what, const std::function<bool()>& work);

#endif
