// Why something failed, in words for a person, beside the code that travels through the layers: who knows
// more than the code notes it, and who tells a caller of the failure takes it.
#ifndef REASONS_H
#define REASONS_H

#include <cerrno>
#include <string>
#include <string_view>

#include "vexa_api.h"

// Notes the reason of a failure with that code on this thread, in place of the one it had. Nothing of it
// throws; without memory there is no reason.
VEXA_API void NoteReason(int code, std::string_view reason) noexcept;
// The reason for this code: this thread's last one, else, where another thread of this process runs or starts
// a language, that thread's. Empty when there is none. It is told once.
VEXA_API std::string TakeReason(int code);
// What this thread noted so far is of no use any more.
void ForgetReasons() noexcept;

// Notes what the pieces, texts, say together. Returns the code; errno stays.
template <class... Pieces>
int Because(int code, const Pieces&... pieces) noexcept {
  const int kept = errno;
  try {
    std::string text;
    (text.append(std::string_view(pieces)), ...);
    NoteReason(code, text);
  } catch (...) {  // a failure without words
  }
  errno = kept;
  return code;
}

#endif
