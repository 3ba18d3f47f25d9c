// VexaPipe: one end of one fifo, for one direction. The reader of a fifo makes it; opening is lazy and the
// end stays open until ClosePipe. An endpoint has one user at a time. It owns its descriptor, which is
// close-on-exec, and the fifo's file: the end that goes away takes the file with it, whoever made it. Only in
// a fork of the process that made the object does the file stay.
//
// Codes: 0, 99103 (peer closed), 99104 (any other failure), 99106 (no name).
#ifndef VEXAPIPE_H
#define VEXAPIPE_H

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>

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

  // --- For waits that must not outlive the peer ---

  // OpenPipeToRead and OpenPipeToWrite, given up with 99107 as soon as `peer_alive` says that nobody will
  // come. The reader also waits for the first bytes, or for the writer's end.
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
  int WriteEndOpened(const char* operation, int fd);

  std::int32_t pipeFd = -1;
  std::string pipeName;
  bool writeConnected = false;
  bool pipeCreated = false;
  const WakeUp* reads_end = nullptr;
  pid_t owner;  // the process that made this object
};

#endif
