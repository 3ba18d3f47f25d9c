// The record of a session: every frame that this process sends or receives on a fifo, appended to a file of
// this process's own, `<pid>.vexarec` in the directory that VEXA_RECORD names. It is read once, at the first
// frame; without it nothing is done but a look at a flag. No call fails over the record: what cannot be
// written is said once on standard error, and ends it. A fork has a file of its own. Any thread may call.
//
// The file, in host byte order: a head, and entries behind each other. A length of 0 is the end: the file of
// a process that was killed has zeros behind it. docs/record.md has it for other readers.
#ifndef FRAME_RECORD_H
#define FRAME_RECORD_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "frame_progress.h"

class VexaPipe;

struct RecordHead {
  static constexpr char kMagic[] = "VEXAREC1";
  char magic[8];
  std::uint32_t length;  // of the head, with the name of the program behind it
  std::int32_t process;
  std::int64_t monotonic, wall;  // the same moment, in nanoseconds
};
static_assert(sizeof(RecordHead) == 32);

struct RecordEntry {
  // The last is no frame: nothing more could be written, for the reason of the system that is its code.
  static constexpr std::uint32_t kSent = 0, kReceived = 1, kEnded = 2;
  static constexpr std::size_t kMostKept = 65536;  // of the bytes of a frame
  std::uint32_t length;  // of the entry, with the name of the fifo and the bytes behind it
  std::uint32_t direction;
  std::int64_t time;     // monotonic: before it was sent, after it was received
  std::uint32_t thread;  // 1, 2, ... in the order in which they came
  std::int32_t code;     // of the transport: 0 for a frame that went whole
  std::uint32_t moved;   // bytes of the frame that went
  std::uint32_t frame;   // its whole length; 0 where its first word never came
  std::uint32_t name, kept;
};
static_assert(sizeof(RecordEntry) == 40);

class FrameRecord {
 public:
  static bool On() { return state.load(std::memory_order_acquire) != State::Off && IsOn(); }
  // Absolute, for processes that this one starts; empty where nothing is recorded.
  static std::string Directory();
  static std::int64_t Now();

  static void Sent(const VexaPipe& pipe, std::span<const std::string_view> runs, std::size_t sent, int code,
                   std::int64_t time) noexcept;

 private:
  friend class ReceivedFrame;
  static void Add(const VexaPipe& pipe, const RecordEntry& entry,
                  std::span<const std::string_view> bytes) noexcept;

  enum class State { Unknown, Off, On };
  static bool IsOn();
  static std::atomic<State> state;
};

// A frame beside its way into a block: its first bytes, as they come.
class ReceivedFrame {
 public:
  void Take(const char* bytes, std::size_t count) noexcept;
  void Record(const VexaPipe& pipe, const FrameProgress& progress) const noexcept;

 private:
  std::string kept;
};

#endif
