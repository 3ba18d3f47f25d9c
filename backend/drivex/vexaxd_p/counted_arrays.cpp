#include "counted_arrays.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

// Owns the texts until they are all there.
class NewTexts {
 public:
  explicit NewTexts(int wanted) : array(new char*[static_cast<std::size_t>(wanted)]) {}
  NewTexts(const NewTexts&) = delete;
  NewTexts& operator=(const NewTexts&) = delete;
  ~NewTexts() {
    for (int i = 0; array != nullptr && i < made; ++i) delete[] array[i];
    delete[] array;
  }
  void Add(const std::string& text) {
    array[made] = NewText(text);
    ++made;
  }
  char** Release() { return std::exchange(array, nullptr); }

 private:
  char** array;
  int made = 0;
};

// How many there are to hand out: as many as the peer told and no more than came. None without a place for
// the count.
int Counted(int told, int came, const int* count) { return count != nullptr ? std::min(told, came) : 0; }

void StoreCount(int* count, int counted) {
  if (count != nullptr) *count = counted;
}

}  // namespace

void TakeTexts(ApiCall& call, int limit, char*** texts, int* count) {
  const int counted = Counted(limit, call.reply().GetStringDataRef().Size(), count);
  if (counted > 0) {
    NewTexts taken(counted);
    for (int i = 0; i < counted; ++i) taken.Add(UpToZero(call.Text(i)));
    *texts = taken.Release();
  }
  StoreCount(count, counted);
}

void TakeNumberLabels(ApiCall& call, double** values, char*** labels, int* count) {
  const int came = std::max(call.reply().GetDoubleDataRef().Size(), call.reply().GetStringDataRef().Size());
  const int counted = Counted(call.Long(0), came, count);
  if (counted > 0) {
    auto numbers = std::make_unique<double[]>(static_cast<std::size_t>(counted));
    NewTexts texts(counted);
    for (int i = 0; i < counted; ++i) {
      numbers[static_cast<std::size_t>(i)] = call.Double(i);
      texts.Add(call.Text(i));
    }
    *values = numbers.release();
    *labels = texts.Release();
  }
  StoreCount(count, counted);
}

void TakeTextLabels(ApiCall& call, char*** values, char*** labels, int* count) {
  const int counted = Counted(call.Long(0), std::max(call.ListSize(0), call.ListSize(1)), count);
  if (counted > 0) {
    NewTexts taken_values(counted);
    NewTexts taken_labels(counted);
    for (int i = 0; i < counted; ++i) {
      taken_values.Add(call.ListText(0, i));
      taken_labels.Add(call.ListText(1, i));
    }
    *values = taken_values.Release();
    *labels = taken_labels.Release();
  }
  StoreCount(count, counted);
}

int* TakeLongs(ApiCall& call, int* count) {
  const std::vector<std::int32_t>& longs = call.reply().GetLongDataRef().Values();
  const int counted = Counted(static_cast<int>(longs.size()), static_cast<int>(longs.size()), count);
  int* copy = nullptr;
  if (counted > 0) {
    copy = new int[longs.size()];
    std::copy(longs.begin(), longs.end(), copy);
  }
  StoreCount(count, counted);
  return copy;
}
