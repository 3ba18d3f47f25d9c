// What the engine knows between two requests, and the table that leads from the number of a request to the
// function that serves it. A family of actions is one file with a table of its own; session.cpp puts them
// together.
#ifndef SESSION_H
#define SESSION_H

#include <optional>
#include <span>

#include "CleXDErrorCode.h"
#include "CleXDSmb.h"
#include "dataset.h"
#include "engine_code.h"

using Action = CleXDSmb::CommandAction;

// A pass over the cases.
struct Cursor {
  std::size_t delivered = 0;  // the last of them is the current case
};

struct Session {
  Dataset dataset;
  std::optional<Cursor> cursor;
  bool ended = false;  // the driver said so

  // Serves one request. False when the driver waits for no reply.
  bool Serve(CleXDSmb& request, CleXDSmb& reply);
};

// Reads its arguments out of the request and puts its results into the reply; returns the reply's code.
using Handler = int (*)(Session&, CleXDSmb& request, CleXDSmb& reply);

struct ActionEntry {
  Action action;
  Handler handler;
};

std::span<const ActionEntry> DictionaryActions();
std::span<const ActionEntry> CaseActions();

// The integer at `index` of a request; nothing when the request is shorter.
std::optional<int> LongArgument(CleXDSmb& request, std::size_t index);

using VariableHandler = int (*)(const Variable&, CleXDSmb& reply);

// The handler of a question about one variable, whose index is the request's first integer.
template <VariableHandler handler>
int AboutVariable(Session& session, CleXDSmb& request, CleXDSmb& reply) {
  const std::optional<int> index = LongArgument(request, 0);
  if (!index) return engine_code::kBadRequest;
  const auto& variables = session.dataset.variables;
  if (*index < 0 || static_cast<std::size_t>(*index) >= variables.size())
    return CleXDErrorCode::kIndexOutOfRange;
  return handler(variables[static_cast<std::size_t>(*index)], reply);
}

#endif
