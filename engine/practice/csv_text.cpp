#include "csv_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utf8cpp/utf8.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

#include "descriptor.h"
#include "engine_code.h"
#include "words.h"

namespace {

[[noreturn]] void FailToRead(const std::string& path, int error) {
  throw Refusal(engine_code::kUnreadable, path + ": " + std::strerror(error));
}

FileText ReadBytes(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat facts = {};
  if (file.Number() == -1 || fstat(file.Number(), &facts) != 0) FailToRead(path, errno);
  // A plain file: anything else has no size.
  if (!S_ISREG(facts.st_mode)) FailToRead(path, S_ISDIR(facts.st_mode) ? EISDIR : EINVAL);
  FileText text;
  text.resize(static_cast<std::size_t>(facts.st_size));
  std::size_t size = 0;
  while (size < text.size()) {
    const ssize_t got = read(file.Number(), text.data() + size, text.size() - size);
    if (got == -1 && errno == EINTR) continue;
    if (got == -1) FailToRead(path, errno);
    if (got == 0) break;  // it has become shorter
    size += static_cast<std::size_t>(got);
  }
  text.resize(size);
  return text;
}

// Whether the first character is one of UTF-16 in that order: a mark, or one of the first 256.
bool IsUtf16(std::string_view text, std::endian order) {
  if (text.size() < 2) return false;
  const auto low = static_cast<unsigned char>(order == std::endian::little ? text[0] : text[1]);
  const auto high = static_cast<unsigned char>(order == std::endian::little ? text[1] : text[0]);
  return (high == 0xFE && low == 0xFF) || (high == 0 && low != 0);
}

FileText FromUtf16(const std::string& path, std::string_view text, std::endian order) {
  std::vector<char16_t> characters(text.size() / 2);
  std::memcpy(characters.data(), text.data(), characters.size() * 2);
  if (order != std::endian::native) {
    for (char16_t& character : characters) character = static_cast<char16_t>(character << 8 | character >> 8);
  }
  FileText converted;
  try {
    if (text.size() % 2 != 0) throw utf8::invalid_utf16(0);
    utf8::utf16to8(characters.begin(), characters.end(), std::back_inserter(converted));
  } catch (const utf8::exception&) {
    throw Refusal(engine_code::kBadData, path + ": it begins as UTF-16 and is none");
  }
  return converted;
}

// What stands most often in the first line, outside quotes: the first of them when they stand equally often.
char SeparatorOf(std::string_view text) {
  constexpr std::string_view kSeparators = ",;\t";
  std::size_t counts[kSeparators.size()] = {};
  bool quoted = false;
  for (const char c : text) {
    if (c == '"') quoted = !quoted;
    if (c == '\n' && !quoted) break;
    const std::size_t kind = kSeparators.find(c);
    if (kind != std::string_view::npos && !quoted) ++counts[kind];
  }
  return kSeparators[static_cast<std::size_t>(std::max_element(counts, std::end(counts)) - counts)];
}

}  // namespace

FileText ReadFile(const std::string& path) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  FileText bytes = ReadBytes(path);
  for (const auto order : {std::endian::little, std::endian::big}) {
    const std::string_view text(bytes.data(), bytes.size());
    if (!IsUtf16(text, order)) continue;
    bytes = FromUtf16(path, text, order);
    break;
  }
  if (std::string_view(bytes.data(), bytes.size()).starts_with(kByteOrderMark))
    bytes.erase(bytes.begin(), bytes.begin() + kByteOrderMark.size());
  return bytes;
}

CsvRows::CsvRows(const std::string& file_path, std::string_view csv)
    : path(file_path), text(csv), separator(SeparatorOf(csv)) {}

bool CsvRows::StartRow(std::size_t columns) {
  if (!unescaped.empty()) unescaped.clear();
  for (; columns > 1 && position < text.size(); ++line) {
    const std::size_t end = position + (text[position] == '\r' ? 1 : 0);
    if (end < text.size() && text[end] != '\n') break;
    position = std::min(end + 1, text.size());
  }
  row_line = line;
  return position < text.size();
}

std::string_view CsvRows::TakeField() {
  return position < text.size() && text[position] == '"' ? Quoted() : Plain();
}

std::size_t CsvRows::TakeNumber(double& number) {
  const char* const end = text.data() + text.size();
  const char* const behind = TakePlainNumber(text.data() + position, end, number);
  if (behind == nullptr || (behind != end && *behind != separator && *behind != '\n')) return 0;
  const std::size_t start = std::exchange(position, static_cast<std::size_t>(behind - text.data()));
  return position - start;
}

bool CsvRows::GoesOn() {
  if (position >= text.size()) return false;
  if (text[position++] == separator) return true;
  ++line;
  return false;
}

void CsvRows::FailCount(std::size_t place, std::size_t columns) {
  std::size_t count = place + 1;
  if (count == columns) {
    do {
      TakeField();
      ++count;
    } while (GoesOn());
  }
  Fail(std::to_string(count) + " fields, where the header has " + std::to_string(columns));
}

void CsvRows::Fail(const std::string& reason) const {
  throw Refusal(engine_code::kBadData, path + ":" + std::to_string(row_line) + ": " + reason);
}

std::string_view CsvRows::Plain() {
  const char* const end = text.data() + text.size();
  const char* const start = text.data() + position;
  const char* at = start;
  while (at != end && *at != separator && *at != '\n') ++at;
  position = static_cast<std::size_t>(at - text.data());
  const bool line_end = at == end || *at == '\n';
  if (line_end && at > start && at[-1] == '\r') --at;
  return {start, static_cast<std::size_t>(at - start)};
}

std::string_view CsvRows::Quoted() {
  const std::size_t start = ++position;
  std::string* copy = nullptr;  // made at the first "", since only then the field differs from its text
  std::size_t piece = start;
  for (;; ++position) {
    position = text.find('"', position);
    if (position == std::string_view::npos) Fail("a quote is not closed");
    const std::string_view run = text.substr(piece, position - piece);
    line += static_cast<std::size_t>(std::count(run.begin(), run.end(), '\n'));
    const bool escaped = position + 1 < text.size() && text[position + 1] == '"';
    if (escaped && copy == nullptr) copy = &unescaped.emplace_back();
    if (copy != nullptr) copy->append(run);
    if (!escaped) break;
    piece = ++position;  // the second quote belongs to the next piece
  }
  const std::string_view field = copy != nullptr ? *copy : text.substr(start, position - start);
  ++position;
  if (text.substr(position).starts_with("\r\n") || text.substr(position) == "\r") ++position;
  if (position < text.size() && text[position] != separator && text[position] != '\n')
    Fail("text behind a closing quote");
  return field;
}
