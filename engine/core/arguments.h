// What a request asks for, taken from the front: each Take gives the next element of its kind, and nothing
// when there is none left. A selector takes what names the thing that a request is about, so that the same
// handler serves a variable of the active dataset, of a dataset of the step, and one that is being declared.
#ifndef ARGUMENTS_H
#define ARGUMENTS_H

#include <optional>
#include <span>
#include <string>
#include <type_traits>

#include "session.h"

class Arguments {
 public:
  explicit Arguments(CleXDSmb& request)
      : longs(request.GetLongDataRef().Values()),
        doubles(request.GetDoubleDataRef().Values()),
        texts(request.GetStringDataRef().Values()),
        lists(request.GetStringArrayRef()) {}

  std::optional<int> TakeLong() { return Take(longs); }
  std::optional<double> TakeDouble() { return Take(doubles); }
  // Null when there is none left.
  const std::string* TakeText() {
    if (texts.empty()) return nullptr;
    const std::string* const text = &texts.front();
    texts = texts.subspan(1);
    return text;
  }
  std::span<const int> Longs() const { return longs; }
  std::span<const std::string> Texts() const { return texts; }
  // The list of texts of that place; empty when the request has none.
  std::span<const std::string> List(std::size_t place) const {
    return place < lists.size() ? std::span<const std::string>(lists[place].Values())
                                : std::span<const std::string>();
  }

 private:
  template <class Value>
  static std::optional<Value> Take(std::span<const Value>& values) {
    if (values.empty()) return std::nullopt;
    const Value value = values.front();
    values = values.subspan(1);
    return value;
  }

  std::span<const int> longs;
  std::span<const double> doubles;
  std::span<const std::string> texts;
  std::span<const StringData> lists;
};

// What a selector found. A request that names nothing is refused.
struct Selected {
  Dataset* dataset = nullptr;
  Variable* variable = nullptr;
};
using Selector = Selected (*)(Session&, Arguments&);

Selected ActiveDataset(Session& session, Arguments& arguments);
// A text: the name of a dataset of the step.
Selected StepDataset(Session& session, Arguments& arguments);
// An integer: the index of a variable of the active dataset.
Selected ActiveVariable(Session& session, Arguments& arguments);
// The name of a dataset of the step, the index of one of its variables.
Selected StepVariable(Session& session, Arguments& arguments);
// A name: of a variable that is being declared, or else of one of the active dataset.
Selected NamedVariable(Session& session, Arguments& arguments);

// A handler about a dataset or a variable, which takes what it needs of (arguments, reply) behind it.
template <Selector select, auto handler>
int About(Session& session, CleXDSmb& request, CleXDSmb& reply) {
  Arguments arguments(request);
  const Selected selected = select(session, arguments);
  using Call = decltype(handler);
  if constexpr (std::is_invocable_v<Call, Variable&, Arguments&, CleXDSmb&>) {
    return handler(*selected.variable, arguments, reply);
  } else if constexpr (std::is_invocable_v<Call, Variable&, Arguments&>) {
    return handler(*selected.variable, arguments);
  } else if constexpr (std::is_invocable_v<Call, Variable&, CleXDSmb&>) {
    return handler(*selected.variable, reply);
  } else if constexpr (std::is_invocable_v<Call, Dataset&, Arguments&, CleXDSmb&>) {
    return handler(*selected.dataset, arguments, reply);
  } else if constexpr (std::is_invocable_v<Call, Dataset&, Arguments&>) {
    return handler(*selected.dataset, arguments);
  } else {
    return handler(*selected.dataset, reply);
  }
}

#endif
