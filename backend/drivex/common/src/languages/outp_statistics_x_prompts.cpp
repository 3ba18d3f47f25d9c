#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "CleXDErrorCode.h"
#include "OutpStatisticsX.h"
#include "sigpipe.h"

namespace {

constexpr int kLookMilliseconds = 20;  // between two looks at whether R is still there
constexpr std::size_t kChunk = 4096;
constexpr std::size_t kBrowserPrompt = sizeof "Browse[1]> " - 1;

int Failed() {
  std::puts(std::strerror(errno));
  return CleXDErrorCode::kPipeFailed;
}

}  // namespace

int OutpStatisticsX::execute_x_syntax(const char* text) {
  if (!IsR()) return 0;
  const SigpipeBlocked r_may_be_gone;
  for (std::string_view rest = text != nullptr ? text : "";;) {
    const ssize_t written = write(to_language.Number(), rest.data(), rest.size());
    if (written == -1 && errno == EAGAIN && AwaitRoom()) continue;
    if (written == -1) return Failed();
    rest.remove_prefix(static_cast<std::size_t>(written));
    if (rest.empty()) return 0;
  }
}

// R echoes what it reads. In a line longer than its pipes hold it would wait for us as we wait for it, so its
// output is dropped meanwhile; the prompt behind the line cannot be in it yet. False, with errno, when R has
// gone.
bool OutpStatisticsX::AwaitRoom() {
  pollfd looks[] = {{to_language.Number(), POLLOUT, 0}, {from_language.Number(), POLLIN, 0}};
  const bool alive = poll(looks, 2, kLookMilliseconds) > 0 || MayAnswer();
  char dropped[kChunk];
  if (alive && (looks[1].revents == 0 || read(looks[1].fd, dropped, sizeof dropped) > 0)) return true;
  errno = EPIPE;
  return false;
}

int OutpStatisticsX::get_x_result() {
  if (!IsR()) return 0;
  // A prompt may come in pieces, so the end of what came before stays in front of what comes.
  char output[kBrowserPrompt + kChunk];
  std::size_t kept = 0;
  for (;;) {
    if (!AwaitR()) return CleXDErrorCode::kProcessNotAlive;
    const ssize_t got = read(from_language.Number(), output + kept, kChunk);
    if (got == -1 && errno == EINTR) continue;
    if (got == -1) return Failed();
    if (got == 0) return CleXDErrorCode::kProcessNotAlive;
    if (heard != nullptr) heard->append(output + kept, static_cast<std::size_t>(got));
    const std::string_view all(output, kept + static_cast<std::size_t>(got));
    if (all.ends_with("> ")) {
      const bool browser =
          all.size() >= kBrowserPrompt && all.substr(all.size() - kBrowserPrompt).starts_with("Browse[");
      at_continuation_prompt = false;
      at_browser_prompt = browser;
      return 0;
    }
    if (all.ends_with("+ ")) {
      at_continuation_prompt = true;
      return 0;
    }
    kept = std::min(all.size(), kBrowserPrompt);
    std::memmove(output, all.data() + all.size() - kept, kept);
  }
}

bool OutpStatisticsX::AwaitR() {
  for (bool alive = true;;) {
    pollfd look = {from_language.Number(), POLLIN, 0};
    if (look.fd == -1 || poll(&look, 1, alive ? kLookMilliseconds : 0) > 0) return true;
    if (!alive) return false;
    alive = MayAnswer();
  }
}

int OutpStatisticsX::Tell(const std::string& text) {
  const int code = execute_x_syntax(text.c_str());
  return code != 0 ? code : get_x_result();
}

int OutpStatisticsX::ExecuteLines(const std::string& lines) {
  int code = 0;
  for (std::size_t start = 0, end; (end = lines.find('\n', start)) != std::string::npos; start = end + 1)
    code = Tell(lines.substr(start, end + 1 - start));
  return code;
}
