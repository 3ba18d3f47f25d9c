// Arrow arrays and streams of a few values, built by hand. Whatever is handed over counts itself: at the end
// of a test Left() is 0, or something was never released. A second release ends the program.
#ifndef SUPPORT_ARROW_BUILDER_H
#define SUPPORT_ARROW_BUILDER_H

#include "support/test.h"
#include "vexaxd_columns.h"

namespace arrow {

inline int& Left() {
  static int left = 0;
  return left;
}

// What one struct holds on to.
struct Holder {
  Holder() { ++Left(); }
  ~Holder() { --Left(); }
  std::vector<std::string> buffers;
  std::vector<const void*> addresses;
  std::vector<ArrowArray*> arrays;
  std::vector<ArrowSchema*> schemas;
  std::string format, name, metadata;
};

template <class Struct>
void Release(Struct* released) {
  if (released->release == nullptr) std::abort();
  released->release = nullptr;
  auto* const holder = static_cast<Holder*>(released->private_data);
  for (ArrowArray* const each : holder->arrays) each->release(each), delete each;
  for (ArrowSchema* const each : holder->schemas) each->release(each), delete each;
  delete holder;
}

// One column of one batch, with `before` values of rubbish in front where it is a slice.
struct Column {
  std::string name, format;
  std::vector<std::string> buffers;  // without the validity
  std::vector<bool> valid;           // of all slots; empty: all are
  std::int64_t length = 0, offset = 0;
  std::string metadata;
  std::shared_ptr<Column> dictionary;

  Column Named(std::string to) const {
    return With([&](Column& c) { c.name = std::move(to); });
  }
  Column As(std::string to) const {
    return With([&](Column& c) { c.format = std::move(to); });
  }
  Column Says(std::string said) const {
    return With([&](Column& c) { c.metadata = std::move(said); });
  }
  // Null at those slots.
  Column Nulls(const std::vector<std::size_t>& nulls) const {
    return With([&](Column& c) {
      c.valid.assign(static_cast<std::size_t>(length + offset), true);
      for (const std::size_t slot : nulls) c.valid[slot] = false;
    });
  }
  // Without the first slots.
  Column From(std::int64_t slot) const {
    return With([&](Column& c) { c.offset += slot, c.length -= slot; });
  }
  Column Of(const Column& texts) const {
    return With([&](Column& c) { c.dictionary = std::make_shared<Column>(texts); });
  }

  ArrowArray* Array() const {
    auto* const holder = new Holder;
    holder->buffers = buffers;
    if (format != "n") holder->buffers.insert(holder->buffers.begin(), Bits(valid));
    for (const std::string& buffer : holder->buffers) holder->addresses.push_back(buffer.data());
    const auto nulls = std::count(valid.begin() + (valid.empty() ? 0 : offset), valid.end(), false);
    if (format != "n" && valid.empty()) holder->addresses[0] = nullptr;
    auto* const array =
        new ArrowArray{length, nulls, offset, 0, 0, nullptr, nullptr, nullptr, Release, holder};
    array->n_buffers = static_cast<std::int64_t>(holder->addresses.size());
    array->buffers = holder->addresses.data();
    if (format == "n") array->null_count = length;
    if (dictionary) holder->arrays.push_back(array->dictionary = dictionary->Array());
    return array;
  }
  ArrowSchema* Schema() const {
    auto* const holder = new Holder;
    holder->format = format, holder->name = name, holder->metadata = metadata;
    auto* const schema = new ArrowSchema{
        holder->format.c_str(), holder->name.c_str(), nullptr, 2, 0, nullptr, nullptr, Release, holder};
    if (!metadata.empty()) schema->metadata = holder->metadata.data();
    if (dictionary) holder->schemas.push_back(schema->dictionary = dictionary->Schema());
    return schema;
  }
  static std::string Bits(const std::vector<bool>& values) {
    std::string bits(values.size() / 8 + 1, '\0');
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (values[i]) bits[i / 8] = static_cast<char>(bits[i / 8] | 1 << i % 8);
    }
    return bits;
  }

 private:
  template <class Change>
  Column With(Change change) const {
    Column changed = *this;
    change(changed);
    return changed;
  }
};

template <class Value>
std::string Bytes(const std::vector<Value>& values) {
  return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(Value)};
}

template <class Value>
Column Numbers(const std::string& format, const std::vector<Value>& values) {
  return {"c", format, {Bytes(values)}, {}, static_cast<std::int64_t>(values.size()), 0, "", nullptr};
}
inline Column Doubles(const std::vector<double>& values) { return Numbers("g", values); }

template <class Offset = std::int32_t>
Column Texts(const std::vector<std::string>& texts, const std::string& format = "u") {
  std::vector<Offset> offsets{0};
  std::string bytes;
  for (const std::string& text : texts) {
    bytes += text;
    offsets.push_back(static_cast<Offset>(bytes.size()));
  }
  return {"c", format, {Bytes(offsets), bytes}, {}, static_cast<std::int64_t>(texts.size()), 0, "", nullptr};
}

// Each long text in a buffer of its own.
inline Column Views(const std::vector<std::string>& texts) {
  Column column{"c", "vu", {""}, {}, static_cast<std::int64_t>(texts.size()), 0, "", nullptr};
  std::vector<std::int64_t> lengths;
  for (const std::string& text : texts) {
    std::int32_t words[4] = {static_cast<std::int32_t>(text.size()), 0, 0, 0};
    if (text.size() <= 12) {
      text.copy(reinterpret_cast<char*>(words + 1), 12);
    } else {
      words[2] = static_cast<std::int32_t>(column.buffers.size()) - 1, words[3] = 1;
      column.buffers.push_back("-" + text);
      lengths.push_back(static_cast<std::int64_t>(text.size()) + 1);
    }
    column.buffers[0].append(reinterpret_cast<const char*>(words), 16);
  }
  column.buffers.push_back(Bytes(lengths));
  return column;
}

// The rows of a struct, all those of its columns unless it is a slice.
struct Batch {
  std::vector<Column> columns;
  std::int64_t offset = 0;
  std::vector<bool> valid = {};

  void Write(ArrowArray* out) const {
    auto* const holder = new Holder;
    holder->buffers = {Column::Bits(valid)};
    holder->addresses = {valid.empty() ? nullptr : holder->buffers[0].data()};
    for (const Column& column : columns) holder->arrays.push_back(column.Array());
    const std::int64_t rows = columns.empty() ? 0 : columns[0].length - offset;
    *out = {rows,
            valid.empty() ? 0 : -1,
            offset,
            1,
            static_cast<std::int64_t>(columns.size()),
            holder->addresses.data(),
            holder->arrays.data(),
            nullptr,
            Release,
            holder};
  }
};

// A stream of batches, the first of which tells the schema. All of it is made beforehand.
class Stream {
 public:
  explicit Stream(const std::vector<Batch>& batches) : stream{Schema, Next, Error, End, new State} {
    State& state = Of(&stream);
    auto* const holder = new Holder;
    for (const Column& column : batches[0].columns) holder->schemas.push_back(column.Schema());
    state.schema = {"+s",
                    "",
                    nullptr,
                    0,
                    static_cast<std::int64_t>(holder->schemas.size()),
                    holder->schemas.data(),
                    nullptr,
                    Release,
                    holder};
    for (const Batch& batch : batches) batch.Write(&state.batches.emplace_back());
  }
  explicit Stream(std::vector<Column> columns) : Stream(std::vector{Batch{std::move(columns)}}) {}
  Stream FailingWith(int error) && {
    Of(&stream).error = error;
    return std::move(*this);
  }
  // For a function that takes it over.
  operator ArrowArrayStream*() { return &stream; }
  ArrowArrayStream stream;

 private:
  struct State {
    ArrowSchema schema = {};
    std::deque<ArrowArray> batches;
    int error = 0;
  };
  static State& Of(ArrowArrayStream* self) { return *static_cast<State*>(self->private_data); }
  static int Schema(ArrowArrayStream* self, ArrowSchema* out) {
    *out = std::exchange(Of(self).schema, {});
    return 0;
  }
  static int Next(ArrowArrayStream* self, ArrowArray* out) {
    State& state = Of(self);
    *out = {};
    if (state.batches.empty()) return state.error;
    *out = state.batches.front();
    state.batches.pop_front();
    return 0;
  }
  static const char* Error(ArrowArrayStream*) { return "the disk is gone"; }
  static void End(ArrowArrayStream* self) {
    if (self->release == nullptr) std::abort();
    self->release = nullptr;
    State& state = Of(self);
    if (state.schema.release != nullptr) state.schema.release(&state.schema);
    for (ArrowArray& batch : state.batches) batch.release(&batch);
    delete &state;
  }
};

}  // namespace arrow

#endif
