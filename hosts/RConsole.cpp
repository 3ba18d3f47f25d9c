// RConsole DIRECTORY ID CONSOLE HOME LANGUAGE [HOME]: the console of a language, in the terminal window that
// XConsoleW opens for it. It shows texts, and reads lines that can be edited.
// The home and the output language are for a console with files and texts of its own; this one has none.
//
// A line goes out with its "\n". Ctrl-D on an empty line gives the empty text, by which a read loop knows the
// end of input from an empty line; the next read reads on. Ctrl-C drops what has been typed.
//
// It ends when it is told to, when its window is closed, and when its peer is gone, and takes its own fifo
// along, ahead of its ends: the peer may open another console as soon as it sees this one gone. The fifo of a
// peer that has died goes too. The peer is the process that started the terminal.
#include <poll.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>

#include "CleXDSmb.h"
#include "XConsoleW.h"
#include "line_editor.h"
#include "sendreceive.h"
#include "starter.h"
#include "xpipemanager.h"

namespace {

constexpr int kLevels = 10000;  // a level's number has up to four digits
// A peer that lives opens its end about a second after it started the terminal.
constexpr std::chrono::seconds kPatience{30};
constexpr std::chrono::milliseconds kDying{300}, kLook{10};

VexaPipe* requests = nullptr;  // what waits for a key has no argument for them
VexaPipe* answers = nullptr;
LineEditor* editor = nullptr;
std::string prompt;  // what is shown of the current line
Starter starter;
volatile std::sig_atomic_t window_changed = 0;

// Not the one that a console behind this has made under the same name meanwhile.
void RemoveOwnFile() {
  struct stat own = {}, named = {};
  const int end = requests->Descriptor();
  if (end != -1 && fstat(end, &own) == 0 && stat(requests->GetPipeName().c_str(), &named) == 0 &&
      (own.st_dev != named.st_dev || own.st_ino != named.st_ino))
    return;
  requests->RemoveFile(false);
}

[[noreturn]] void Leave(int status) {
  RemoveOwnFile();
  _exit(status);
}

// One that dies closes its ends a little before it is seen to be dead.
[[noreturn]] void LeaveBehindPeer() {
  RemoveOwnFile();
  const auto end = std::chrono::steady_clock::now() + kDying;
  while (!StarterGone(&starter) && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(kLook);
  if (StarterGone(&starter)) answers->RemoveFile(false);
  _exit(EXIT_FAILURE);
}

bool TerminalGone() {
  pollfd look = {STDIN_FILENO, 0, 0};
  return poll(&look, 1, 0) > 0;
}

// Waits for something to read there; without a terminal or a peer there is nothing to wait for.
void Await(int input) {
  for (;;) {
    if (std::exchange(window_changed, 0) != 0) editor->Resize();
    pollfd looks[] = {
        {input, POLLIN, 0}, {answers->Descriptor(), 0, 0}, {STDIN_FILENO, 0, 0}, {starter.end, POLLIN, 0}};
    if (poll(looks, 4, starter.end == -1 ? kStarterLookMilliseconds : -1) == -1) continue;
    if (looks[2].revents != 0) {
      Leave(EXIT_FAILURE);
    } else if (looks[1].revents != 0 || StarterGone(&starter)) {
      LeaveBehindPeer();
    } else if (looks[0].revents != 0) {
      return;
    }
  }
}

void Show(const std::string& text) {
  for (std::size_t shown = 0; shown < text.size();) {
    const ssize_t count = write(STDOUT_FILENO, text.data() + shown, text.size() - shown);
    if (count > 0) {
      shown += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      Leave(EXIT_FAILURE);
    }
  }
  prompt += text;
  prompt.erase(0, prompt.find_last_of("\n\r") + 1);
}

std::string ReadLine() {
  const std::optional<std::string> line = editor->Read(prompt);
  if (!line && TerminalGone()) Leave(EXIT_FAILURE);
  prompt.clear();
  if (!line) return Show("\n"), "";
  return *line + "\n";
}

void SetUpTerminal() {
  // A system may lack the locale of the language and of this window, which is one of UTF-8 as a rule.
  if (std::setlocale(LC_ALL, "") == nullptr) std::setlocale(LC_CTYPE, "C.UTF-8");
  for (const int from_keyboard_or_peer : {SIGHUP, SIGINT, SIGQUIT, SIGTSTP, SIGPIPE})
    std::signal(from_keyboard_or_peer, SIG_IGN);
  std::signal(SIGWINCH, [](int) { window_changed = 1; });
  termios settings;
  if (tcgetattr(STDIN_FILENO, &settings) == 0) {
    settings.c_cc[VINTR] = _POSIX_VDISABLE;  // Ctrl-C comes as a key
    tcsetattr(STDIN_FILENO, TCSANOW, &settings);
  }
}

// The arguments do not tell the level. It is the last one for which the peer has made the fifo of the
// answers.
void OpenLevel(XPipeSuit& suit) {
  int last = 0;
  for (int level = 0; level < kLevels; ++level) {
    const std::string name = suit.getPipeNamePrefix() + std::to_string(level) + XPipes::SYNTAX_RESULT_PIPE;
    if (access(name.c_str(), F_OK) == 0) last = level;
  }
  while (suit.getIndex() < last) suit.increaseIndex();
  requests = suit.getXPipes()->GetSyntaxPipe();
  answers = suit.getXPipes()->GetSyntaxResultPipe();
}

void Connect() {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  const auto peer_alive = [&] {
    return !TerminalGone() && !StarterGone(&starter) && std::chrono::steady_clock::now() < end;
  };
  CleXDSmb ready;
  const bool connected = requests->CreatePipe() == 0 && requests->OpenPipeToUnBlockRead() == 0 &&
                         requests->MakeBlocking() == 0 && answers->OpenPipeToWriteWhile(peer_alive) == 0 &&
                         SendData(answers, ready) == 0;
  if (!connected) LeaveBehindPeer();
}

[[noreturn]] void Serve() {
  for (;;) {
    CleXDSmb message;
    Await(requests->Descriptor());
    if (ReceiveData(requests, message) != 0) LeaveBehindPeer();
    LongData& numbers = message.GetLongDataRef();
    const int request = numbers.Empty() ? 0 : numbers[0];
    Show(message.GetSingleString());
    message.CleanUpAllData();
    if (request == XConsoleW::kReadRequest) message.SetSingleString(ReadLine().c_str());
    if (SendData(answers, message) != 0) LeaveBehindPeer();
    if (request == XConsoleW::kStopRequest) Leave(EXIT_SUCCESS);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6 && argc != 7) {
    std::fprintf(stderr, "usage: RConsole DIRECTORY ID CONSOLE HOME LANGUAGE [HOME]\n");
    return EXIT_FAILURE;
  }
  starter = StarterOf(getppid(), argv[2]);
  XPipeManager manager(argv[1], argv[2]);
  SetUpTerminal();
  LineEditor line_editor([] { Await(STDIN_FILENO); });
  editor = &line_editor;
  OpenLevel(*manager.getPipeSuit(argv[3]));
  Connect();
  Serve();
}
