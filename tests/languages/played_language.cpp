// A language process as a test wants it, in the place of every program that the library starts. It notes its
// arguments and its environment in the directory NOTES, one to a line, and plays the role that PLAYED names,
// as SCRIPT says.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

#include "DXCmdDispatcher.h"
#include "XPipes.h"
#include "sendreceive.h"

namespace {

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}
const std::string script = Variable("SCRIPT");

void Note(const std::string& file, const std::string& line) {
  std::ofstream(Variable("NOTES") + "/" + file, std::ios::app) << line << "\n";
}
std::string Read(const std::string& file) {
  std::ostringstream content;
  content << std::ifstream(Variable("NOTES") + "/" + file).rdbuf();
  return content.str();
}
const std::size_t traced_ahead = Read("trace").size();
[[noreturn]] void Die() {
  raise(SIGKILL);
  std::abort();
}
void Pause(int milliseconds) { poll(nullptr, 0, milliseconds); }

// Sends back what it reads, piece by piece, with a prompt behind each line.
int Echo() {
  char piece[4096] = "\n";
  for (ssize_t length = 1; length > 0; length = read(STDIN_FILENO, piece, sizeof piece)) {
    std::string out(piece, static_cast<std::size_t>(length));
    if (out.back() == '\n') out += "> ";
    if (write(STDOUT_FILENO, out.data(), out.size()) == -1) return 1;
  }
  return 0;
}

// Says "> " after its start and after each line that it reads, or what the script has for it: steps are cut
// at ";". A step's "|" waits until all before it has been read, its "!" is the end, its "^" a stop.
int PlayR() {
  if (std::signal(SIGCHLD, SIG_DFL) == SIG_IGN) Note("lines", "SIGCHLD is ignored");
  if (script == "echoes") return Echo();
  std::istringstream steps(script);
  std::string line;
  do {
    std::string step;
    if (!std::getline(steps, step, ';')) step = "> ";
    for (const char character : step) {
      int unread = 1;
      while (character == '|' && ioctl(STDOUT_FILENO, FIONREAD, &unread) == 0 && unread != 0) Pause(1);
      if (character == '!') Die();
      if (character == '^') raise(SIGSTOP);
      if (character != '|' && write(STDOUT_FILENO, &character, 1) != 1) return 1;
    }
  } while (std::getline(std::cin, line) && (Note("lines", line), line != "q()"));
  return 0;
}

// Connects, once it may, and takes as many bytes as the script says.
int PlayJava(char** arguments) {
  if (script.empty()) Die();
  const std::string go = Variable("NOTES") + "/go";
  while (script.ends_with("waits") && access(go.c_str(), F_OK) != 0) Pause(1);
  const int peer = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(arguments[3])));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(peer, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return 1;
  std::string bytes(std::stoul(script), ' ');
  recv(peer, bytes.data(), bytes.size(), MSG_WAITALL);
  Pause(100);  // works
  Note("bytes", bytes);
  return 0;
}

// Dies, and leaves a fork that holds its ends for as long as the channel is there.
[[noreturn]] void LeaveEnds(const std::string& prefix) {
  if (fork() != 0) Die();
  while (access((prefix + "_c").c_str(), F_OK) == 0) Pause(10);
  _exit(0);
}

// Until the command's own answer has come, as the library traces after what it traced of earlier languages.
void AwaitAnswered() {
  const std::string answered = "setup_x_run cmdDispatcher sendCmd error code : 0.";
  while (Read("trace").find(answered, traced_ahead) == std::string::npos) Pause(1);
}

// One run: says that it listens, takes a block, answers with the number in the script.
void Run(const std::string& prefix) {
  static XPipes& pipes = *new XPipes(prefix + "0");
  CleXDSmb listens, request, answer;
  pipes.GetSyntaxPipe()->CreatePipe();
  if (script == "dies ahead of its answer") AwaitAnswered(), Die();
  if (script == "fails its run at once") {
    pipes.GetSyntaxResultPipe()->OpenPipeToWrite();
    pipes.GetSyntaxResultPipe()->ClosePipe();
    return;
  }
  SendData(pipes.GetSyntaxResultPipe(), listens, false);
  if (script == "dies ahead of the block") AwaitAnswered(), Die();
  if (script == "fails its run") {
    pipes.GetSyntaxResultPipe()->ClosePipe();
    return;
  }
  if (script == "leaves the block to another" && pipes.GetSyntaxPipe()->OpenPipeToUnBlockRead() == 0)
    AwaitAnswered(), LeaveEnds(prefix);
  ReceiveData(pipes.GetSyntaxPipe(), request, true);
  Note("block", request.GetSingleString());
  if (script == "dies in the block") Die();
  if (script == "leaves its ends to another") LeaveEnds(prefix);
  answer.SetString(std::string(100000, 'x').c_str());
  if (script == "leaves half an answer") {
    answer.ContructSendData();
    int length = 0;
    const char* const image = answer.GetSendBuf(length);
    if (write(pipes.GetSyntaxResultPipe()->Descriptor(), image, 9000) == 9000) LeaveEnds(prefix);
  }
  answer.SetErrorCode(std::atoi(script.c_str()));
  SendData(pipes.GetSyntaxResultPipe(), answer, false);
}

struct Visitor : DXCmdDispatcherVisitor {
  int cmdDispatcher(DXCmdDispatcher::CmdKey key, const std::vector<std::string>&) override {
    Note("commands", std::to_string(key & 0xff));
    if (script == "dies at " + std::to_string(key & 0xff)) Die();
    if (script == "stops at " + std::to_string(key & 0xff)) raise(SIGSTOP);
    if (key == DXCmdDispatcher::kSetupDXRun) run = std::thread([this] { Run(prefix); });
    if (key == DXCmdDispatcher::kExitDxRun && run.joinable()) run.join();
    return 0;
  }
  std::string prefix;
  std::thread run;
};

int PlayStartx(char** arguments) {
  Visitor visitor;
  visitor.prefix = std::string(arguments[2]) + arguments[3] + arguments[4];
  const std::string requests = visitor.prefix + "_s";
  if (script == "fails") return 3;
  if (script == "never serves") return mkfifo(requests.c_str(), 0600), Pause(1000), 0;
  if (script == "dies late") return Pause(1000), 0;
  if (script == "serves late") Pause(2500);
  DXCmdDispatcher(visitor.prefix, true).receiveCmd(&visitor);
  if (script == "never ends") return std::signal(SIGTERM, SIG_IGN), pause();
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  for (int i = 0; i < count; ++i) Note("arguments", arguments[i]);
  for (char** entry = environ; *entry != nullptr; ++entry) Note("environment", *entry);
  const std::string role = Variable("PLAYED");
  return role == "R" ? PlayR() : role == "java" ? PlayJava(arguments) : PlayStartx(arguments);
}
