#include "asycspipe1.h"

#include <chrono>

#include "CleXDErrorCode.h"
#include "DxTracer.h"
#include "patience.h"
#include "sendreceive.h"
#include "sigpipe.h"
#include "vexa_assert.h"

namespace {

constexpr int kStopServing = -1;
// Between two looks at a client that has closed its writing end and still reads.
constexpr int kPauseMilliseconds = 100;
// How long a client that has closed its writing end may take to open the other fifo.
constexpr std::chrono::seconds kGrace{2};
// The same while the loop is told to end: the client may be between its request and the other fifo.
constexpr std::chrono::milliseconds kShortGrace{300};

// Built once, as a command's time is short. Never destroyed: commands may be under way while the process
// ends.
const std::string& kSent = *new std::string("AsyCsPipe1:send: SendData");
const std::string& kReceived = *new std::string("AsyCsPipe1:send: ReceiveData");

}  // namespace

AsyCsPipe1::AsyCsPipe1(const std::string& channel_name, bool is_server)
    : name(channel_name), m_isServer(is_server) {
  if (m_isServer) ending.emplace();
  openPipe();
}

AsyCsPipe1::~AsyCsPipe1() { closePipe(); }

int AsyCsPipe1::openPipe() {
  if (open) return 0;
  // Once: an endpoint that goes takes its fifo along, and the peer's fifo has to outlive a closePipe.
  if (!server_pipe) server_pipe = std::make_unique<VexaPipe>(name + "_s");
  if (!client_pipe) client_pipe = std::make_unique<VexaPipe>(name + "_c");
  if (m_isServer) {
    ending->Reset();
    server_pipe->EndReadsBy(&*ending);
  }
  // Each side makes the fifo that it reads, so neither waits for a file of the other before it can read. A
  // failure shows when the fifo is opened.
  VexaPipe& own = m_isServer ? *server_pipe : *client_pipe;
  own.CreatePipe();
  const int code = own.DisconnectPipe();
  open = true;
  return code;
}

int AsyCsPipe1::closePipe() {
  if (!open) return 0;
  const int code = (m_isServer ? *server_pipe : *client_pipe).DisconnectPipe();
  if (code == 0) {
    server_pipe->ClosePipe();
    client_pipe->ClosePipe();
    open = false;
  }
  return code;
}

int AsyCsPipe1::connectClient() {
  VEXA_ASSERT(m_isServer);
  const int code = createPipeFile(client_pipe.get());
  if (server_pipe->IsWritePipeConnected()) return code;
  DxTrace("AsyCsPipe1 S ConnectPipe A");
  const int connected = server_pipe->ConnectPipe();
  DxTrace("AsyCsPipe1 S ConnectPipe B");
  return connected;
}

int AsyCsPipe1::connectServer() {
  VEXA_ASSERT(!m_isServer);
  if (!client_pipe->IsWritePipeConnected()) {
    DxTrace("AsyCsPipe1 C ConnectPipe A");
    client_pipe->ConnectPipe();
    DxTrace("AsyCsPipe1 C ConnectPipe B");
  }
  return createPipeFile(server_pipe.get());
}

// Fails only when both steps do.
int AsyCsPipe1::Connect() {
  if (openPipe() == 0) return 0;
  return (m_isServer ? connectClient() : connectServer()) == 0 ? 0 : 1;
}

int AsyCsPipe1::send(CleXDSmb& request, CleXDSmb& reply) { return send(request, reply, {}); }

int AsyCsPipe1::send(CleXDSmb& request, CleXDSmb& reply, const std::function<bool()>& server_alive) {
  int code = Connect();
  if (code != 0) return code;
  code = server_alive ? SendDataWhile(server_pipe.get(), request, server_alive)
                      : SendData(server_pipe.get(), request, false);
  DxTraceError(kSent, code);
  if (code == 0) {
    code = ReceiveReply(reply, server_alive);
    DxTraceError(kReceived, code);
  }
  return code;
}

// The first time, opening the fifo waits for the server; its death ends each wait.
int AsyCsPipe1::ReceiveReply(CleXDSmb& reply, const std::function<bool()>& server_alive) {
  const auto there = [&] { return !server_pipe->PeerHungUp() && (!server_alive || server_alive()); };
  const int code = ReceiveDataWhile(client_pipe.get(), reply, there);
  return code == CleXDErrorCode::kProcessNotAlive ? CleXDErrorCode::kPeerClosed : code;
}

// The first time, opening the fifo waits for the client. One that has gone meanwhile will not open it any
// more.
int AsyCsPipe1::SendReply(CleXDSmb& reply) {
  if (!client_pipe->IsWritePipeConnected()) {
    const auto start = std::chrono::steady_clock::now();
    const int code = client_pipe->OpenPipeToWriteWhile([&] {
      const auto waited = std::chrono::steady_clock::now() - start;
      return waited < (Ends() ? std::chrono::steady_clock::duration(kShortGrace) : kGrace) ||
             (!Ends() && !server_pipe->PeerHungUp());
    });
    if (code != 0) return CleXDErrorCode::kPipeFailed;
  }
  SigpipeBlocked client_may_be_gone;
  const int code = SendData(client_pipe.get(), reply, false);
  if (code == 0) client_may_be_gone.NoneArose();
  return code;
}

template <class Receiver>
int AsyCsPipe1::Serve(const char* trace_prefix, Receiver receiver) {
  const std::string received = std::string(trace_prefix) + "ReceiveData";
  const std::string sent = std::string(trace_prefix) + "SendData";
  int code = Connect();
  bool stop = false;
  bool client_closed = false;
  for (bool last = false; code == 0 && !stop && !last;) {
    last = Ends();
    CleXDSmb request;
    CleXDSmb reply;
    code = ReceiveData(server_pipe.get(), request, true);
    DxTraceError(received, code);
    if (code != 0 && Ends()) return code;
    if (code == 0) stop = receiver(request, reply) == kStopServing;
    // A client that closed only its writing end reads the answer to that. It is not flooded with more of
    // them.
    const bool closed = code == CleXDErrorCode::kPeerClosed;
    if (closed && client_closed) Pause(kPauseMilliseconds);
    client_closed = closed;
    // Always answered: only a failed send, or the visitor, ends the loop.
    code = SendReply(reply);
    DxTraceError(sent, code);
  }
  return code;
}

int AsyCsPipe1::receive(Visitor* visitor) {
  return Serve("AsyCsPipe1:receive: ", [visitor](CleXDSmb& request, CleXDSmb& reply) {
    return visitor != nullptr ? visitor->VisitReceiver(request, reply) : 0;
  });
}

int AsyCsPipe1::receive(int (*receiver)(CleXDSmb&, CleXDSmb&)) {
  return Serve("AsyCsPipe1: ", [receiver](CleXDSmb& request, CleXDSmb& reply) {
    return receiver != nullptr ? receiver(request, reply) : 0;
  });
}

void AsyCsPipe1::EndReceiving() {
  if (ending) ending->Signal();
}

void AsyCsPipe1::RemoveFiles(bool only_created) const {
  server_pipe->RemoveFile(only_created);
  client_pipe->RemoveFile(only_created);
}
