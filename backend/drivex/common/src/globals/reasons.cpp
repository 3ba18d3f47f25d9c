#include "reasons.h"

#include <pthread.h>

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "CleXDErrorCode.h"

namespace {

struct Reason {
  std::thread::id thread;
  int code;
  std::string text;
};

// One for each thread that failed and told nobody yet, and not many of them: threads come and go.
constexpr std::size_t kMost = 32;

// Never destroyed: threads of a language may outlive the objects of the process.
struct Board {
  Board();
  std::mutex mutex;
  std::vector<Reason> reasons;
};
Board& TheBoard() {
  static Board& board = *new Board;
  return board;
}

// A fork finds it free.
Board::Board() {
  pthread_atfork([] { TheBoard().mutex.lock(); }, [] { TheBoard().mutex.unlock(); },
                 [] { TheBoard().mutex.unlock(); });
}

// What a pipe met is of the thread that used it alone: another one has pipes of its own.
bool IsOfItsThreadAlone(int code) {
  return code == CleXDErrorCode::kPeerClosed || code == CleXDErrorCode::kPipeFailed;
}

// The end of a long one tells most.
std::string LastOf(std::string_view reason) {
  constexpr std::size_t kMostBytes = 4000;
  if (reason.size() <= kMostBytes) return std::string(reason);
  reason.remove_prefix(reason.size() - kMostBytes);
  while (!reason.empty() && (static_cast<unsigned char>(reason.front()) & 0xc0) == 0x80)
    reason.remove_prefix(1);
  return "..." + std::string(reason);
}

thread_local bool noted = false;

}  // namespace

void NoteReason(int code, std::string_view reason) noexcept try {
  Board& board = TheBoard();
  const std::lock_guard lock(board.mutex);
  const std::thread::id self = std::this_thread::get_id();
  std::erase_if(board.reasons, [self](const Reason& each) { return each.thread == self; });
  if (board.reasons.size() >= kMost) board.reasons.erase(board.reasons.begin());
  board.reasons.push_back({self, code, LastOf(reason)});
  noted = true;
} catch (...) {  // a failure without words
}

std::string TakeReason(int code) {
  Board& board = TheBoard();
  const std::lock_guard lock(board.mutex);
  const std::thread::id self = std::this_thread::get_id();
  const auto told = [&](bool own) {
    return std::find_if(board.reasons.rbegin(), board.reasons.rend(), [&](const Reason& each) {
      return each.code == code && (!own || each.thread == self);
    });
  };
  auto found = told(true);
  if (found == board.reasons.rend() && !IsOfItsThreadAlone(code)) found = told(false);
  if (found == board.reasons.rend()) return {};
  std::string text = std::move(found->text);
  board.reasons.erase(std::next(found).base());
  return text;
}

void ForgetReasons() noexcept {
  if (!noted) return;
  noted = false;
  Board& board = TheBoard();
  const std::lock_guard lock(board.mutex);
  std::erase_if(board.reasons,
                [self = std::this_thread::get_id()](const Reason& each) { return each.thread == self; });
}
