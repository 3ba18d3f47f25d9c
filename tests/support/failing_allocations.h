// Takes the place of the allocations of the program that it is linked to, with "--wrap" for malloc and
// calloc.
#ifndef SUPPORT_FAILING_ALLOCATIONS_H
#define SUPPORT_FAILING_ALLOCATIONS_H

// Lets the n-th allocation of this thread from here on fail, and none with 0. Whether the one before has
// failed.
bool FailAllocation(long n);

#endif
