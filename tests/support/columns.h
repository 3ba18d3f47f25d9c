// What streams of columns give, in words: a line for each batch, its columns between bars. Each array is
// looked through on the way for what Arrow demands of it.
#ifndef SUPPORT_COLUMNS_H
#define SUPPORT_COLUMNS_H

#include "support/test.h"
#include "vexaxd_columns.h"

inline bool BitOf(const void* bits, std::int64_t row) {
  return (static_cast<const unsigned char*>(bits)[row / 8] >> row % 8 & 1) != 0;
}

template <class Offset>
std::string TextOf(const ArrowArray& array, std::int64_t row) {
  const auto* const ends = static_cast<const Offset*>(array.buffers[1]);
  EXPECT_TRUE(ends[0] == 0 && ends[row] <= ends[row + 1]);
  return {static_cast<const char*>(array.buffers[2]) + ends[row],
          static_cast<std::size_t>(ends[row + 1] - ends[row])};
}

inline std::string ValueOf(const ArrowSchema& schema, const ArrowArray& array, std::int64_t row) {
  const std::string format = schema.format;
  if (array.buffers[0] != nullptr && !BitOf(array.buffers[0], row)) {
    EXPECT_TRUE(format != "g" || std::isnan(static_cast<const double*>(array.buffers[1])[row]));
    return "-";
  }
  std::ostringstream said;
  if (format == "g") said << static_cast<const double*>(array.buffers[1])[row];
  if (format == "b") said << (BitOf(array.buffers[1], row) ? "T" : "F");
  if (format == "u" || format == "z") said << "'" << TextOf<std::int32_t>(array, row) << "'";
  if (format == "U" || format == "Z") said << "'" << TextOf<std::int64_t>(array, row) << "'";
  if (format == "i") {
    const std::int32_t index = static_cast<const std::int32_t*>(array.buffers[1])[row];
    EXPECT_TRUE(index >= 0 && index < array.dictionary->length);
    said << index << "=" << ValueOf(*schema.dictionary, *array.dictionary, index);
  }
  return said.str();
}

inline std::string ColumnOf(const ArrowSchema& schema, const ArrowArray& array) {
  const bool texts = std::string("uUzZ").find(schema.format[0]) != std::string::npos;
  EXPECT_EQ(array.n_buffers, texts ? 3 : 2);
  EXPECT_TRUE(array.offset == 0 && array.n_children == 0 && array.buffers[1] != nullptr);
  std::string column;
  std::int64_t nulls = 0;
  for (std::int64_t row = 0; row < array.length; ++row) {
    const std::string value = ValueOf(schema, array, row);
    nulls += value == "-" ? 1 : 0;
    column += (row != 0 ? " " : "") + value;
  }
  EXPECT_EQ(array.null_count, nulls);
  EXPECT_EQ(array.buffers[0] == nullptr, nulls == 0);
  return column;
}

inline std::string BatchOf(const ArrowSchema& schema, const ArrowArray& batch) {
  EXPECT_TRUE(batch.n_children == schema.n_children && batch.n_buffers == 1 && batch.null_count == 0);
  std::string line;
  for (std::int64_t i = 0; i < batch.n_children; ++i) {
    EXPECT_EQ(batch.children[i]->length, batch.length);
    line += (i != 0 ? " | " : "") + ColumnOf(*schema.children[i], *batch.children[i]);
  }
  return line + "\n";
}

// All batches of a stream, which is released. An error ends it, with its words.
inline std::string Drain(ArrowArrayStream& stream) {
  ArrowSchema schema;
  EXPECT_EQ(stream.get_schema(&stream, &schema), 0);
  std::string lines;
  for (;;) {
    ArrowArray batch = {};
    if (stream.get_next(&stream, &batch) != 0) lines += stream.get_last_error(&stream);
    if (batch.release == nullptr) break;
    lines += BatchOf(schema, batch);
    batch.release(&batch);
  }
  schema.release(&schema);
  stream.release(&stream);
  return lines;
}

// Names and formats of a stream's columns.
inline std::string FormatsOf(ArrowArrayStream& stream) {
  ArrowSchema schema;
  EXPECT_EQ(stream.get_schema(&stream, &schema), 0);
  EXPECT_STREQ(schema.format, "+s");
  std::string formats;
  for (std::int64_t i = 0; i < schema.n_children; ++i) {
    const ArrowSchema& child = *schema.children[i];
    formats += (i != 0 ? " " : "") + std::string(child.name) + ":" + child.format;
    if (child.dictionary != nullptr) formats += std::string("<") + child.dictionary->format;
    if ((child.flags & ARROW_FLAG_NULLABLE) != 0) formats += "?";
  }
  schema.release(&schema);
  return formats;
}

#endif
