// Faults to order, for authors who want to see what survives them. Each is one text of the option -fault:
// which request, and what becomes of it; or what becomes of the start.
//
//   GetVariableName 2 code 10    the second request of that name (or number) is refused with this code
//   any 5 die within             the engine dies in the middle of its fifth reply, whatever was asked
//   Submit every delay 300       each of them is answered 300 ms later
//   start exit                   the engine ends ahead of its first message
//
// Counted are the requests of a session, on all levels together.
#ifndef FAULTS_H
#define FAULTS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleXDSmb.h"
#include "api_channel.h"

struct Fault {
  enum class Kind { Code, Delay, Cut, Empty, Other, More, DieBefore, DieWithin, DieAfter, Deaf, Fill };
  std::optional<int> action;  // none: any
  int nth = 1;                // 0: every
  Kind kind = Kind::Code;
  int value = 0;  // a code, milliseconds or bytes
  int seen = 0;
};

class Faults {
 public:
  Faults() = default;
  // Throws Refusal for a text that is not understood.
  explicit Faults(const std::vector<std::string>& texts);

  // What was ordered for the start: may not return, or throw Refusal.
  void AtStart(ApiChannel& channel) const;
  // What was ordered for a request that has come; null for nothing. Counts it.
  const Fault* Next(CleXDSmb::CommandAction action);

 private:
  struct Start {
    std::string kind;
    int value = 0;
  };
  void AddStart(const std::vector<std::string>& words, const std::string& text);
  void AddRequest(const std::vector<std::string>& words, const std::string& text);

  std::vector<Start> starts;
  std::vector<Fault> requests;
};

// What happens ahead of the answer: may not return.
void Suffer(const Fault& fault);
// Sends the reply as the fault has it. False where nothing can be sent any more.
bool ReplyWith(const Fault& fault, CleXDSmb& reply, ApiChannel& channel);

#endif
