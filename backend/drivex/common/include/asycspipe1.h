// The command channel between a language process and the backend's side of the library: one way to ask a
// process to set up a run, to end it, to stop. Two fifos make a two-way channel, AsyCsPipe1; DXCmdDispatcher
// gives its commands a number and a list of texts. Commands go from the client (the backend's side) to the
// server (the language's), one at a time.
//
//   name + "_s"   the server makes and reads it: one integer, the key, and the arguments as strings
//   name + "_c"   the client makes and reads it: a block whose error code is the command's result
//
// One thread uses an object.
#ifndef ASYCSPIPE1_H
#define ASYCSPIPE1_H

#include <memory>
#include <string>

#include "CleXDSmb.h"
#include "VexaPipe.h"
#include "vexa_api.h"

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
  // Serves requests until the visitor ends the loop or a reply cannot be sent; the code of that send. A
  // request that could not be received is answered with an empty reply.
  int receive(Visitor* visitor);
  int receive(int (*receiver)(CleXDSmb&, CleXDSmb&));

  void RemoveFiles(bool only_created) const;

 private:
  int Connect();
  int ReceiveReply(CleXDSmb& reply);
  int SendReply(CleXDSmb& reply);
  template <class Receiver>
  int Serve(const char* trace_prefix, Receiver receiver);

  std::unique_ptr<VexaPipe> server_pipe;
  std::unique_ptr<VexaPipe> client_pipe;
  std::string name;
  bool open = false;
  bool m_isServer;
};

#endif
