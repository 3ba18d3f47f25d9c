#include "copy_writer.h"

#include <algorithm>
#include <cstring>

namespace {

using Kind = ColumnType::Kind;

constexpr std::size_t kPieceBytes = std::size_t{1} << 20;
// What the binary form begins with, flags and the length of an extension behind it; and its end.
constexpr char kBinaryHeader[] = "PGCOPY\n\377\r\n\0\0\0\0\0\0\0\0";
constexpr char kBinaryEnd[] = "\377\377";

std::string_view TrimmedText(const Variable& variable, const Unit* value) {
  const std::string_view text = TextAt(variable, value);
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

template <class Integer>
void AppendBigEndian(Integer value, std::string& bytes) {
  char text[sizeof value];
  for (std::size_t i = sizeof value; i-- > 0; value = static_cast<Integer>(value >> 7 >> 1))
    text[i] = static_cast<char>(value & 0xFF);
  bytes.append(text, sizeof value);
}

template <class Integer>
void AppendField(Integer value, std::string& bytes) {
  AppendBigEndian(static_cast<std::uint32_t>(sizeof value), bytes);
  AppendBigEndian(value, bytes);
}

bool HasBinaryForm(const ColumnType& type) {
  constexpr Oid kText = 25, kFixedText = 1042, kBoundedText = 1043, kLargeInteger = 20;
  switch (type.kind) {
    case Kind::Int8:
      return type.oid == kLargeInteger;
    case Kind::Text:
      return type.oid == kText || type.oid == kFixedText || type.oid == kBoundedText;
    default:
      return type.kind == Kind::Float8 || type.kind == Kind::Int4 || type.kind == Kind::Int2 ||
             type.kind == Kind::Bool;
  }
}

void AppendEscaped(std::string_view text, std::string& line) {
  for (const char byte : text) {
    switch (byte) {
      case '\\':
        line += "\\\\";
        break;
      case '\n':
        line += "\\n";
        break;
      case '\r':
        line += "\\r";
        break;
      case '\t':
        line += "\\t";
        break;
      default:
        line += byte;
    }
  }
}

}  // namespace

bool IsNull(const Variable& variable, const Unit* value) {
  return variable.IsText() ? TrimmedText(variable, value).empty() : *value == kSystemMissing;
}

std::string ServerText(const Column& column, const Variable& variable, const Unit* value) {
  return variable.IsText() ? std::string(TrimmedText(variable, value))
                           : column.type.Written(*value, variable.name);
}

CopyWriter::CopyWriter(Connection& connection, const Relation& into, const std::vector<Variable>& described,
                       const Columns& chosen)
    : server(connection), relation(into), variables(described), columns(chosen) {
  binary = std::all_of(columns.begin(), columns.end(),
                       [&](std::size_t column) { return HasBinaryForm(relation.columns[column].type); });
}

void CopyWriter::AppendText(std::size_t column, const Unit* value) {
  if (IsNull(variables[column], value)) {
    piece += "\\N";
  } else {
    AppendEscaped(ServerText(relation.columns[column], variables[column], value), piece);
  }
}

void CopyWriter::AppendBinary(std::size_t column, const Unit* value) {
  const Variable& variable = variables[column];
  const ColumnType& type = relation.columns[column].type;
  if (IsNull(variable, value)) return AppendBigEndian(UINT32_MAX, piece);
  if (variable.IsText()) {
    const std::string_view text = TrimmedText(variable, value);
    AppendBigEndian(static_cast<std::uint32_t>(text.size()), piece);
    piece += text;
    return;
  }
  if (type.kind == Kind::Float8) return AppendField(*value, piece);
  const auto number = static_cast<std::uint64_t>(type.WholeNumber(*value, variable.name));
  switch (type.kind) {
    case Kind::Bool:
      return AppendField(static_cast<std::uint8_t>(number), piece);
    case Kind::Int2:
      return AppendField(static_cast<std::uint16_t>(number), piece);
    case Kind::Int4:
      return AppendField(static_cast<std::uint32_t>(number), piece);
    default:
      return AppendField(number, piece);
  }
}

void CopyWriter::AppendRows(const char* rows, std::size_t count) {
  std::vector<Unit> value;
  for (std::size_t row = 0; row < count; ++row) {
    if (binary) AppendBigEndian(static_cast<std::uint16_t>(columns.size()), piece);
    for (std::size_t i = 0; i < columns.size(); ++i) {
      value.resize(variables[columns[i]].Units());
      std::memcpy(value.data(), rows, value.size() * kUnitBytes);
      rows += value.size() * kUnitBytes;
      if (binary) {
        AppendBinary(columns[i], value.data());
      } else {
        if (i != 0) piece += '\t';
        AppendText(columns[i], value.data());
      }
    }
    if (!binary) piece += '\n';
    if (piece.size() < kPieceBytes) continue;
    server.Copy(piece);
    piece.clear();
  }
}

void CopyWriter::Write(const void* rows, std::size_t count) {
  std::string names;
  for (const std::size_t column : columns)
    names.append(names.empty() ? "" : ", ").append(relation.columns[column].server_name);
  server.StartCopy("COPY " + relation.source + " (" + names + ") FROM STDIN" +
                   (binary ? " (FORMAT binary)" : ""));
  try {
    if (binary) piece.assign(kBinaryHeader, sizeof kBinaryHeader);
    AppendRows(static_cast<const char*>(rows), count);
    if (binary) piece += kBinaryEnd;
    server.Copy(piece);
  } catch (const Refusal& refusal) {
    if (refusal.code == sql_code::kConnectionLost) throw;
    try {
      server.EndCopy("a value does not fit");
    } catch (const Refusal&) {  // as it must be
    }
    throw;
  }
  server.EndCopy();
}
