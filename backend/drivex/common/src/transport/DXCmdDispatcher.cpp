#include "DXCmdDispatcher.h"

#include "DxTracer.h"

namespace {
constexpr int kStopServing = -1;
}

DXCmdDispatcher::DXCmdDispatcher(const std::string& name, bool isServer) : channel(name, isServer) {}

int DXCmdDispatcher::connectPeer() {
  return channel.isServer() ? channel.connectClient() : channel.connectServer();
}

int DXCmdDispatcher::sendCmd(CmdKey key) { return sendCmd(key, {}); }

int DXCmdDispatcher::sendCmd(CmdKey key, const std::vector<std::string>& arguments) {
  return sendCmd(key, arguments, {});
}

int DXCmdDispatcher::sendCmd(CmdKey key, const std::vector<std::string>& arguments,
                             const std::function<bool()>& server_alive) {
  CleXDSmb request;
  CleXDSmb reply;
  request.SetLong(key);
  for (const std::string& argument : arguments) request.SetString(argument);
  DxTrace("cmd NO: " + std::to_string(static_cast<int>(key)));
  int code = channel.send(request, reply, server_alive);
  if (code == 0) code = reply.GetErrorCode();
  DxTrace("cmd return: " + std::to_string(code));
  return code;
}

int DXCmdDispatcher::receiveCmd(DXCmdDispatcherVisitor* visitor) { return channel.receive(visitor); }

void DXCmdDispatcher::Reopen() {
  channel.closePipe();
  channel.openPipe();
}

int DXCmdDispatcherVisitor::VisitReceiver(CleXDSmb& request, CleXDSmb& reply) {
  LongData& longs = request.GetLongDataRef();
  if (longs.Size() != 1) return 0;
  const auto key = static_cast<DXCmdDispatcher::CmdKey>(longs[0]);
  const int result = cmdDispatcher(key, request.GetStringDataRef().Values());
  if (key != DXCmdDispatcher::kStopDX) {
    reply.SetErrorCode(result);
    return result;
  }
  DxTrace("kStopDX");
  reply.SetErrorCode(0);
  return kStopServing;
}

int DXCmdDispatcherVisitor::cmdDispatcher(DXCmdDispatcher::CmdKey, const std::vector<std::string>&) {
  return 0;
}
