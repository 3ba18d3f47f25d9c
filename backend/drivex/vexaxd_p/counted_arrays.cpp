#include "counted_arrays.h"

#include <algorithm>

namespace {

char** NewTextArray(int count) { return new char*[static_cast<std::size_t>(count)]; }

}  // namespace

void TakeTexts(ApiCall& call, int limit, char*** texts, int* count) {
  *count = std::min(limit, call.reply().GetStringDataRef().Size());
  if (*count <= 0) return;
  *texts = NewTextArray(*count);
  for (int i = 0; i < *count; ++i) (*texts)[i] = NewText(UpToZero(call.Text(i)));
}

void TakeNumberLabels(ApiCall& call, double** values, char*** labels, int* count) {
  const int came = std::max(call.reply().GetDoubleDataRef().Size(), call.reply().GetStringDataRef().Size());
  *count = std::min(call.Long(0), came);
  if (*count <= 0) return;
  *values = new double[static_cast<std::size_t>(*count)];
  *labels = NewTextArray(*count);
  for (int i = 0; i < *count; ++i) {
    (*values)[i] = call.Double(i);
    (*labels)[i] = NewText(call.Text(i));
  }
}

void TakeTextLabels(ApiCall& call, char*** values, char*** labels, int* count) {
  *count = std::min(call.Long(0), std::max(call.ListSize(0), call.ListSize(1)));
  if (*count <= 0) return;
  *values = NewTextArray(*count);
  *labels = NewTextArray(*count);
  for (int i = 0; i < *count; ++i) {
    (*values)[i] = NewText(call.ListText(0, i));
    (*labels)[i] = NewText(call.ListText(1, i));
  }
}

int* TakeLongs(ApiCall& call, int* count) {
  const std::vector<std::int32_t>& longs = call.reply().GetLongDataRef().Values();
  *count = static_cast<int>(longs.size());
  if (longs.empty()) return nullptr;
  int* copy = new int[longs.size()];
  std::copy(longs.begin(), longs.end(), copy);
  return copy;
}
