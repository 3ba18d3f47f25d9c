// The last failure of each thread, in words: what VexaLastError tells.
#ifndef LAST_ERROR_H
#define LAST_ERROR_H

#include <string>

// A call begins: what was noted before it is no reason for what it may meet.
void BeginCall() noexcept;

// What the code means is the error table's word, unless the caller knows better: a text that stays.
int NoteFailure(int code, const char* function, const char* meaning = nullptr) noexcept;
// Never null, valid until the thread's next call.
const char* LastFailure() noexcept;

// Notes the code, unless it is 0, as the failure of that function of the interface, with the reason that was
// noted for it. A function that hands on the code of another one that it called takes the failure over, words
// and all. Returns the code.
inline int Failed(int code, const char* function = __builtin_FUNCTION()) noexcept {
  return code == 0 ? 0 : NoteFailure(code, function);
}

// The words that belong to this thread's last failure, where it had that code: for who does more before it
// hands the failure on.
std::string ReasonOf(int code);

// What failed last stays what failed last, whatever is called while this lives: for what cleans up.
class KeptFailure {
 public:
  KeptFailure() noexcept;
  KeptFailure(const KeptFailure&) = delete;
  KeptFailure& operator=(const KeptFailure&) = delete;
  ~KeptFailure();

 private:
  int code;
  const char* function;
  const char* meaning;
  bool of_this_call;
  std::string reason;
};

#endif
