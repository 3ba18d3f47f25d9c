// A recorded session as the backend has to play it: the request that comes next, and whether a program's is
// the same. What a program asks within a block lies within the step of the call that ran the block.
#ifndef REPLAY_H
#define REPLAY_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "described.h"
#include "exchanges.h"

// The first message of a backend, and what was asked of it.
struct RecordedSession {
  Exchange start;
  std::vector<Exchange> steps;  // calls and blocks, in their order
};
// In the order in which they began.
std::vector<RecordedSession> SessionsOf(const std::vector<Exchange>& exchanges);

// The steps of one level, and how far they have been played.
struct Scope {
  std::size_t begin = 0, end = 0, next = 0;
  bool lost = false;  // since a difference, until a request is found again
};

class Replay {
 public:
  Replay(const RecordedSession& of, const Description& description, bool in_any_order)
      : session(of), described(description), any_order(in_any_order), played(of.steps.size()) {}

  Scope Whole() const { return {0, session.steps.size(), 0}; }
  // What lies within a step. Without a call of `From`, it counts as played.
  Scope Within(std::size_t step) const { return {step + 1, End(step), step + 1}; }
  const Exchange& At(std::size_t step) const { return session.steps[step]; }

  // The step that the request is of; none where it is not the one that comes next.
  std::optional<std::size_t> Take(Scope& scope, CleXDSmb& request);
  // How the request differs from the one that comes next, as lines for a person.
  std::string Difference(const Scope& scope, CleXDSmb& request) const;
  // What was not asked, as lines for a person; empty where all was.
  std::string Left(const Scope& scope) const;
  std::vector<std::size_t> BlocksIn(const Scope& scope) const;

 private:
  std::size_t End(std::size_t step) const;
  std::size_t NextCall(std::size_t step, const Scope& scope) const;
  bool IsCall(std::size_t step) const { return At(step).kind == Exchange::Kind::Call; }
  bool Same(std::size_t step, CleXDSmb& request) const;
  std::optional<std::size_t> Find(std::size_t from, const Scope& scope, CleXDSmb& request, bool again) const;

  const RecordedSession& session;
  const Description& described;
  const bool any_order;
  std::vector<bool> played;
};

#endif
