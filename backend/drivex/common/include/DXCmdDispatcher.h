// DXCmdDispatcher: numbered commands over the command channel. The server serves them in a loop through a
// visitor.
#ifndef DXCMDDISPATCHER_H
#define DXCMDDISPATCHER_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "asycspipe1.h"
#include "vexa_api.h"

class DXCmdDispatcherVisitor;

class VEXA_API DXCmdDispatcher {
 public:
  enum CmdKey : std::int32_t {
    kStopDX = 0x4458C002,      // the language process is to stop serving
    kSetupDXRun = 0x4458C003,  // prepare a language run
    kExitDxRun = 0x4458C004,   // end a language run
    kRunDX = 0x4458C005,       // start the driver once more on the current run
    kTestCmd = 0x4458C0FF,     // is the server there?
  };

  DXCmdDispatcher(const std::string& name, bool isServer);

  // Called once after the peer is known to be alive; without effect on fifos.
  int connectPeer();
  // Sends a command and waits for its result: the visitor's, or a code of the pipe.
  int sendCmd(CmdKey key);
  int sendCmd(CmdKey key, const std::vector<std::string>& arguments);
  // To a server of whose life more is known, see AsyCsPipe1.
  int sendCmd(CmdKey key, const std::vector<std::string>& arguments,
              const std::function<bool()>& server_alive);
  // Serves until the channel ends, and returns its result.
  int receiveCmd(DXCmdDispatcherVisitor* visitor);

  // Ends the serving loop from another thread, see AsyCsPipe1. After Reopen there can be a new one, with a
  // new client; nobody may be serving.
  void EndServing() { channel.EndReceiving(); }
  const WakeUp* Ending() const { return channel.Ending(); }
  void Reopen();

  void RemoveFiles(bool only_created) const { channel.RemoveFiles(only_created); }

 private:
  AsyCsPipe1 channel;
};

// Turns each request into a call of cmdDispatcher. A request without exactly one integer is answered empty.
// kStopDX is answered with 0, whatever cmdDispatcher gives, and ends the loop.
class VEXA_API DXCmdDispatcherVisitor : public AsyCsPipe1::Visitor {
 public:
  int VisitReceiver(CleXDSmb& request, CleXDSmb& reply) override;
  // The result of the command; 0 here.
  virtual int cmdDispatcher(DXCmdDispatcher::CmdKey key, const std::vector<std::string>& arguments);
};

#endif
