// Columns of numbers in Arrow's stream interface, which stay with their owner, whoever releases them.
#ifndef BENCH_NUMBER_COLUMNS_H
#define BENCH_NUMBER_COLUMNS_H

#include <string>
#include <vector>

#include "vexaxd_columns.h"

// n0, n1 and so on, with half of the row's number in each row, in one batch.
class NumberColumns {
 public:
  NumberColumns(std::size_t count, int rows) : names(count), fields(count), arrays(count) {
    for (int row = 0; row < rows; ++row) values.push_back(row * 0.5);
    for (std::size_t i = 0; i < count; ++i) names[i] = "n" + std::to_string(i);
  }
  // From its beginning, until it is asked for again.
  ArrowArrayStream* Stream() {
    const auto rows = static_cast<std::int64_t>(values.size());
    schema = {"+s",    "",      nullptr, 0,      static_cast<std::int64_t>(names.size()),
              nullptr, nullptr, Forget,  nullptr};
    batch = {rows, 0, 0, 1, schema.n_children, no_buffers, nullptr, nullptr, Forget, nullptr};
    field_list.clear(), array_list.clear();
    for (std::size_t i = 0; i < names.size(); ++i) {
      fields[i] = {"g", names[i].c_str(), nullptr, ARROW_FLAG_NULLABLE, 0, nullptr, nullptr, Forget, nullptr};
      arrays[i] = {rows, 0, 0, 2, 0, buffers, nullptr, nullptr, Forget, nullptr};
      field_list.push_back(&fields[i]), array_list.push_back(&arrays[i]);
    }
    buffers[1] = values.data();
    schema.children = field_list.data();
    batch.children = array_list.data();
    stream = {[](ArrowArrayStream* self, ArrowSchema* out) { return *out = Of(self).schema, 0; },
              [](ArrowArrayStream* self, ArrowArray* out) {
                *out = Of(self).batch;
                Of(self).batch.release = nullptr;  // the next one is the end
                return 0;
              },
              [](ArrowArrayStream*) -> const char* { return nullptr; }, Forget, this};
    return &stream;
  }

 private:
  static NumberColumns& Of(ArrowArrayStream* self) {
    return *static_cast<NumberColumns*>(self->private_data);
  }
  template <class Struct>
  static void Forget(Struct* released) {
    released->release = nullptr;
  }

  std::vector<double> values;
  std::vector<std::string> names;
  std::vector<ArrowSchema> fields;
  std::vector<ArrowArray> arrays;
  std::vector<ArrowSchema*> field_list;
  std::vector<ArrowArray*> array_list;
  const void* buffers[2] = {};
  const void* no_buffers[1] = {};
  ArrowSchema schema = {};
  ArrowArray batch = {};
  ArrowArrayStream stream = {};
};

#endif
