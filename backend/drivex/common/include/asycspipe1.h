// The command channel between a language process and the backend's side of the library: one way to ask a
// process to set up a run, to end it, to stop. Two fifos make a two-way channel, AsyCsPipe1; DXCmdDispatcher
// gives its commands a number and a list of texts. Commands go from the client (the backend's side) to the
// server (the language's), one at a time.
//
//   name + "_s"   the server makes and reads it: one integer, the key, and the arguments as strings
//   name + "_c"   the client makes and reads it: a block whose error code is the command's result
//
// One thread uses an object; another one may end the server's loop.
#ifndef ASYCSPIPE1_H
#define ASYCSPIPE1_H

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "CleXDSmb.h"
#include "VexaPipe.h"
#include "vexa_api.h"
#include "wake_up.h"

class VEXA_API AsyCsPipe1 {
 public:
  // Serves one request; -1 ends the loop.
  class VEXA_API Visitor {
   public:
    virtual ~Visitor() = default;
    virtual int VisitReceiver(CleXDSmb& request, CleXDSmb& reply) = 0;
  };

  // Makes the fifo that this side reads.
  AsyCsPipe1(const std::string& name, bool isServer);
  AsyCsPipe1(const AsyCsPipe1&) = delete;
  AsyCsPipe1& operator=(const AsyCsPipe1&) = delete;
  // Closes both ends and removes both fifos.
  ~AsyCsPipe1();

  int openPipe();
  int closePipe();
  // For the server and for the client; without effect on fifos.
  int connectClient();
  int connectServer();
  // The fifos are made by openPipe; always 0.
  int createPipeFile(VexaPipe*) { return 0; }
  bool isServer() const { return m_isServer; }

  // Sends a request and waits for its reply. The first time it waits until the server reads. 99104 when the
  // server's fifo is not there.
  int send(CleXDSmb& request, CleXDSmb& reply);
  // The same for a server that may never come, or leave while others hold its ends: the waits also end as
  // soon as `server_alive` says that it has gone, with 99107 ahead of the request and 99103 behind it.
  int send(CleXDSmb& request, CleXDSmb& reply, const std::function<bool()>& server_alive);
  // Serves requests until the visitor ends the loop or a reply cannot be sent; the code of that send. A
  // request that could not be received is answered with an empty reply.
  int receive(Visitor* visitor);
  int receive(int (*receiver)(CleXDSmb&, CleXDSmb&));

  // Ends the server's loop, whatever the client does, and the waits of the next ones until openPipe opens the
  // channel anew. A request that lies in the fifo already is still served.
  void EndReceiving();
  // Signalled by EndReceiving; null for a client.
  const WakeUp* Ending() const { return ending ? &*ending : nullptr; }

  void RemoveFiles(bool only_created) const;

 private:
  int Connect();
  bool Ends() const { return ending && ending->Signalled(); }
  int ReceiveReply(CleXDSmb& reply, const std::function<bool()>& server_alive);
  int SendReply(CleXDSmb& reply);
  template <class Receiver>
  int Serve(const char* trace_prefix, Receiver receiver);

  std::optional<WakeUp> ending;  // of a server
  std::unique_ptr<VexaPipe> server_pipe;
  std::unique_ptr<VexaPipe> client_pipe;
  std::string name;
  bool open = false;
  bool m_isServer;
};

#endif
