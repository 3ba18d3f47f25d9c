// VexaPipe: one end of one fifo, for one direction. The reader of a fifo makes it; opening is lazy and the
// end stays open until ClosePipe. An endpoint has one user at a time. It owns its descriptor, which is
// close-on-exec, and the fifo's file: the end that goes away takes the file with it, whoever made it. Only in
// a fork of the process that made the object does the file stay.
//
// An end is opened on nothing but a fifo of this process's own user, and closed to all others: anything else
// under the name, a symbolic link included, gives 99104 (see kOtherUsers). The operations that the interface
// names do one system call each, and a signal ends them. What moves whole frames waits in poll and goes on
// after a signal.
//
// Codes: 0, 99103 (peer closed), 99104 (any other failure), 99106 (no name).
#ifndef VEXAPIPE_H
#define VEXAPIPE_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "frame_progress.h"
#include "patience.h"
#include "short_look.h"
#include "vexa_api.h"

class WakeUp;

class VEXA_API VexaPipe {
 public:
  VexaPipe();
  explicit VexaPipe(std::string name);
  VexaPipe(const VexaPipe&) = delete;
  VexaPipe& operator=(const VexaPipe&) = delete;
  ~VexaPipe();

  void SetPipeName(std::string name);
  std::string GetPipeName() const { return pipeName; }
  const char* GetPipeName(int& length) const;

  // Whether an end is open.
  bool HasPipe() const { return pipeFd != -1; }
  // Whether this object itself made the fifo.
  bool IsPipeCreated() const { return pipeCreated; }
  bool IsWritePipeConnected() const { return writeConnected; }

  // Makes the fifo; an existing file of the name is good enough. 99106 without a name.
  int CreatePipe();
  // Blocks until the fifo has a reader. Opens anew even when an end is open.
  int OpenPipeToWrite();
  // Fails with 99104 at once when the fifo has no reader.
  int OpenPipeToUnBlockWrite();
  // Blocks until the fifo has a writer. An end that is open stays as it is.
  int OpenPipeToRead();
  // Does not wait for a writer.
  int OpenPipeToUnBlockRead();
  // Opens for writing, with nothing noted down.
  int VEXACreateFile();
  // Waits for a fifo that the peer is to make: 11 tries, a second apart.
  int VEXACreateFileR();

  // Without effect on fifos, which are connected by opening: the seam at which named pipes would differ.
  int ConnectPipe() { return 0; }
  int DisconnectPipe() { return 0; }
  int ChangeReadMode() { return 0; }
  int ChangeToUnBlockMode() { return 0; }

  // Writes all of `data` in pieces of at most 8192 bytes. `written` is never stored to.
  int WriteData(const void* data, int length, unsigned long* written);
  // One read of up to `length` bytes; `got` takes their number. 0 bytes mean that all writers are gone: no
  // error here.
  int ReadData(int length, void* data, unsigned long& got);
  int FlushPipe();
  // Closes the end; the file stays. An errno when `close` failed.
  int ClosePipe();

  // In the environment, and not empty: the peer runs as another user on purpose. Fifos are then made as the
  // umask has it, and those of other users are good enough.
  static constexpr const char* kOtherUsers = "VEXA_OTHER_USERS";

  // --- The road of whole frames: each wait lasts as long as its patience, and no signal ends it ---

  // OpenPipeToWrite and OpenPipeToRead, where they are not open; the reader also waits for the first bytes,
  // or for the writer's end. The end does not block from here on.
  int OpenToWrite(const Patience& patience);
  int OpenToRead(const Patience& patience);
  // Sends all runs of a frame, four at the most. `sent` takes how far it came: where that is more than 0 and
  // less than all, the frame is broken.
  int Send(std::span<const std::string_view> runs, std::size_t& sent, const Patience& patience);
  // What is there, at most `room` bytes, as soon as there is something; 0 bytes when all writers are gone. In
  // the middle of a frame more is likely to be there already.
  int Receive(char* to, std::size_t room, unsigned long& got, bool within_frame, const Patience& patience);

  // Whether there is something to read already, or soon (see short_look.h).
  bool ReadableSoon();

  // What the user of this end has left unfinished on it.
  FrameDebt& Debt() { return debt; }

  // --- For waits that must not outlive the peer ---

  // OpenToRead and OpenToWrite, given up with 99107 as soon as `peer_alive` says that nobody will come. Then
  // the end is closed.
  int OpenPipeToReadWhile(const std::function<bool()>& peer_alive);
  int OpenPipeToWriteWhile(const std::function<bool()>& peer_alive);
  // For an end that is open already: waits in the same way for bytes or for the writer's end.
  int AwaitDataWhile(const std::function<bool()>& peer_alive) const;
  // From here on opening for reading waits for nobody, and a read that waits for the peer ends with 99104
  // when `wake` is signalled and there is nothing to read. Null takes that back.
  void EndReadsBy(const WakeUp* wake) { reads_end = wake; }
  // Whether the other end of an open fifo was there and is gone.
  bool PeerHungUp() const;
  // For poll; -1 when closed.
  int Descriptor() const { return pipeFd; }
  // Takes O_NONBLOCK off an end that was opened without blocking.
  int MakeBlocking();
  // Removes the fifo's file, for the end of the process; or only if this object made it.
  void RemoveFile(bool only_created) const;

 private:
  int OpenEnd(int flags);
  int Refuse() const;
  void PrepareFor(std::size_t bytes);
  int MakeUnblocking();
  int AwaitReadable(const Patience& patience) const;
  int WriteEndOpened(const char* operation, int fd);

  std::int32_t pipeFd = -1;
  std::string pipeName;
  bool writeConnected = false;
  bool pipeCreated = false;
  bool enlarged = false;
  bool blocks = true;  // a system call on the open end may wait
  const WakeUp* reads_end = nullptr;
  ShortLook short_look;
  FrameDebt debt;
  pid_t owner;  // the process that made this object
};

#endif
