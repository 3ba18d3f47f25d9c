// Bulk data past the messages: through temp files of the backend's, and through a socket on which it streams
// cases.
#include <algorithm>
#include <memory>
#include <vector>

#include "call_frame.h"
#include "counted_arrays.h"
#include "transport_data_thread.h"
#include "vexaxd_p.h"

namespace {

constexpr int kBeforeLoading = 1000;  // milliseconds, in which the program accepts the connection

std::string OrEmpty(const char* text) { return text != nullptr ? text : ""; }

int Queue(const std::string& text) { return QueueCommandPart(text.c_str(), static_cast<int>(text.size())); }

// Nobody waits for a transport: it is kept until it has ended and the next one begins.
void KeepUntilEnded(std::unique_ptr<TransportDataThread> transport) {
  static auto* const transports = new std::vector<std::unique_ptr<TransportDataThread>>;
  std::erase_if(*transports, [](const auto& earlier) { return !earlier->HasThread(); });
  transports->push_back(std::move(transport));
}

}  // namespace

TransportDataThread::TransportDataThread(const char* socket_text, const char* variable_list, bool get_data)
    : variables(OrEmpty(variable_list)), socket(OrEmpty(socket_text)), getData(get_data) {}

std::int32_t TransportDataThread::Run() {
  running = true;
  std::string command;
  if (getData) {
    Pause(kBeforeLoading);
    Queue("GET DATA /TYPE=BINARYSTREAM /SOCKET=" + socket + " /VARIABLES=" + variables + ".");
    Queue("CACHE.");
    command = "EXECUTE.";
  } else {
    command = "SAVE /TYPE=BINARYSTREAM /SOCKET=" + socket;
    if (!variables.empty()) command += " /KEEP=" + variables;
    command += ".";
  }
  const int code = Submit(command.c_str(), static_cast<int>(command.size()));
  running = false;
  return code;
}

int CreateSocket(int* socket) { return GuardedCall(Action::CreateSocket, Out(socket)); }

int AcceptSocket() { return GuardedCall(Action::AcceptSocket); }

int TransportData(const char* socket, const char* variables, bool getData) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  return CodeOf([&] {
    auto transport = std::make_unique<TransportDataThread>(socket, variables, OneBit(getData));
    if (!transport->Start(0)) return Failed(CleXDErrorCode::kThreadNotStarted);
    KeepUntilEnded(std::move(transport));
    return 0;
  });
}

int SaveDataToTempFile(const char* name, int* vars, int count) {
  return Call(Action::SaveDataToTempFile, name, EachLong(vars, count));
}

int GetDataFromTempFile(const char* name, int first, int second) {
  return GuardedCall(Action::GetDataFromTempFile, name, first, second);
}

int* GetSplitEndIndex(int* count, int* errCode) {
  StoreCode(errCode, 0);
  int* ends = nullptr;
  const auto take = [&](ApiCall& call) { ends = TakeLongs(call, count); };
  StoreCode(errCode, DeliveringCall(Action::GetSplitEndIndex, take));
  return ends;
}

int* GetTrendsInfoInDS(const char* name, int* count, int* errCode) {
  StoreCode(errCode, 0);
  if (!isVexaRunning) {
    StoreCode(errCode, CleXDErrorCode::kBackendNotRunning);
    return nullptr;
  }
  int* info = nullptr;
  const auto take = [&](ApiCall& call) { info = TakeLongs(call, count); };
  StoreCode(errCode, DeliveringCall(Action::GetTrendsInfoInDS, take, name));
  return info;
}
