#include "column_input.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unordered_set>

#include "CleXDErrorCode.h"
#include "column_refusal.h"

namespace {

constexpr int kRefused = CleXDErrorCode::kColumnRefused;

// What a producer says of its failure, with the code that its errno stands for.
[[noreturn]] void RefuseStream(ArrowArrayStream& stream, int error) {
  const char* const words = stream.get_last_error != nullptr ? stream.get_last_error(&stream) : nullptr;
  const int code = error == ENOMEM      ? CleXDErrorCode::kTooLarge
                   : error == ECANCELED ? CleXDErrorCode::kInterrupted
                                        : kRefused;
  throw ColumnRefusal(code,
                      std::string("the stream failed: ") + (words != nullptr ? words : std::strerror(error)));
}

}  // namespace

void RefuseColumn(std::string_view name, std::string_view reason) {
  throw ColumnRefusal(kRefused, "column '" + std::string(name) + "': " + std::string(reason));
}

void RefuseRow(std::string_view name, std::size_t row, std::string_view reason) {
  throw ColumnRefusal(kRefused, "column '" + std::string(name) + "', row " + std::to_string(row) + ": " +
                                    std::string(reason));
}

std::string Folded(std::string_view name) {
  std::string folded(name);
  for (char& c : folded) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return folded;
}

void TakenStream::Release() {
  if (get() != nullptr) stream->release(stream);
  stream = nullptr;
}

ColumnInput::ColumnInput(ArrowArrayStream& stream) {
  ReadSchema(stream);
  ReadBatches(stream);
}

void ColumnInput::ReadSchema(ArrowArrayStream& stream) {
  if (const int error = stream.get_schema(&stream, &schema.value)) RefuseStream(stream, error);
  const ArrowSchema& top = schema.value;
  if (top.format == nullptr || std::strcmp(top.format, "+s") != 0)
    throw ColumnRefusal(kRefused, "the stream is not of structs, a child for each variable");
  std::unordered_set<std::string> names;
  columns.reserve(static_cast<std::size_t>(top.n_children));
  for (std::int64_t i = 0; i < top.n_children; ++i) {
    const ArrowSchema& field = *top.children[i];
    const std::string name = field.name != nullptr ? field.name : "";
    columns.push_back({name, field.metadata, ColumnForm::Of(field)});
    if (!names.insert(Folded(name)).second) RefuseColumn(name, "the name stands twice");
  }
}

void ColumnInput::ReadBatches(ArrowArrayStream& stream) {
  for (;;) {
    ArrowArray& batch = batches.emplace_back().value;
    if (const int error = stream.get_next(&stream, &batch)) RefuseStream(stream, error);
    if (batch.release == nullptr) return batches.pop_back();
    if (static_cast<std::size_t>(batch.n_children) != columns.size())
      throw ColumnRefusal(kRefused, "a batch of the stream has another number of columns than its schema");
    rows += static_cast<std::size_t>(batch.length);
  }
}
