#include "output_stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>

#include "engine_code.h"
#include "output_page.h"

namespace {

// How many bytes at the end begin a character and do not end it.
std::size_t OpenBytes(std::string_view text) {
  for (std::size_t back = 1; back <= 3 && back <= text.size(); ++back) {
    const auto byte = static_cast<unsigned char>(text[text.size() - back]);
    if (byte < 0x80) return 0;
    if (byte < 0xC0) continue;
    const std::size_t length = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
    return back < length ? back : 0;
  }
  return 0;
}

}  // namespace

OutputStream::OutputStream(const std::string& path) {
  if (path.empty()) return;
  file = Descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  if (!*this) throw Refusal(engine_code::kUnreadable, path + ": " + std::strerror(errno));
}

void OutputStream::SendText(std::string_view text) {
  std::string whole = std::move(part);
  whole += text;
  const std::size_t open_bytes = OpenBytes(whole);
  part = whole.substr(whole.size() - open_bytes);
  whole.resize(whole.size() - open_bytes);
  if (whole.empty()) return;
  pugi::xml_document document;
  Send(AddElement(document, "pre", whole));
}

void OutputStream::SendAll(pugi::xml_node body) {
  for (const pugi::xml_node element : body.children()) Send(element);
}

// Whoever stops reading gets no more; the session goes on.
void OutputStream::Send(pugi::xml_node element) {
  std::ostringstream bytes;
  element.print(bytes, "", pugi::format_raw);
  std::string line;
  for (const char c : bytes.str()) {
    if (c == '\n')
      line += "&#10;";
    else
      line += c;
  }
  line += '\n';
  for (std::string_view left = line; !left.empty();) {
    const ssize_t written = write(file.Number(), left.data(), left.size());
    if (written == -1 && errno == EINTR) continue;
    if (written <= 0) return file.Close();
    left.remove_prefix(static_cast<std::size_t>(written));
  }
}
