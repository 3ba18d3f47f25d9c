// Variable-length results that the caller owns: arrays from new[] with as many elements as the reply says,
// but no more than came, as the count is the peer's. With none, or with nowhere to tell how many, the arrays
// stay unwritten. Where memory runs out they throw, and have written nothing.
#ifndef COUNTED_ARRAYS_H
#define COUNTED_ARRAYS_H

#include "call_frame.h"

// The strings of the reply, each up to its first zero byte; `limit` of them at the most.
void TakeTexts(ApiCall& call, int limit, char*** texts, int* count);
// Value labels: numbers with the strings, and the two lists of the string array.
void TakeNumberLabels(ApiCall& call, double** values, char*** labels, int* count);
void TakeTextLabels(ApiCall& call, char*** values, char*** labels, int* count);
// All longs of the reply; null for none.
int* TakeLongs(ApiCall& call, int* count);

// A guarded call that answers with texts and, first of the longs, their count.
template <class... Arguments>
int TextsCall(Asked asked, char*** texts, int* count, Arguments... arguments) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning, asked.function);
  return DeliveringCall(
      asked, [=](ApiCall& call) { TakeTexts(call, call.Long(0), texts, count); }, arguments...);
}

#endif
