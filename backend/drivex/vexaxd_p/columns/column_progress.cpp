#include "column_progress.h"

#include "call_road.h"
#include "vexaxd_columns.h"

namespace {
void (*told)(void* context, long done, long total) = nullptr;
void* told_context = nullptr;
}  // namespace

void VexaSetProgress(void (*progress)(void* context, long done, long total), void* context) {
  told = progress;
  told_context = context;
}

void TellProgress(long done, long total) {
  if (told == nullptr) return;
  const HostFunction runs;
  told(told_context, done, total);
}
