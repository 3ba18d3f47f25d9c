// The frames of a record, requests joined with their replies: calls of the interface, blocks that a language
// runs, commands between a backend and a language. What two processes recorded is there once, as the process
// that asked has it. Exchanges of a session nest: what is asked while another waits lies within it.
#ifndef EXCHANGES_H
#define EXCHANGES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "record.h"

struct Exchange {
  enum class Kind { Call, Block, Command };
  Kind kind = Kind::Call;
  std::string channel;                     // the name of the fifos without what they carry
  const RecordedFrame* request = nullptr;  // null for a first message, which nobody asks for
  const RecordedFrame* reply = nullptr;    // null where none came
  std::int64_t start = 0, end = 0;         // nanoseconds
  std::size_t session = 0;                 // 0, 1, ...: the processes that fifos join
  std::size_t depth = 0;

  const RecordedFrame& First() const { return request != nullptr ? *request : *reply; }
  bool Asked() const { return request == nullptr ? !reply->sent : request->sent; }
};

// By session and start. They point into `frames`.
std::vector<Exchange> ExchangesOf(const std::vector<RecordedFrame>& frames);

#endif
