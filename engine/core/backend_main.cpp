#include "backend.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "VexaDXConfigReader.h"
#include "driver_link.h"
#include "dxglobals.h"
#include "plain_text.h"
#include "serving.h"
#include "session.h"
#include "xpipemanager.h"

namespace {

// Does what the options ask for. Throws Refusal.
void Prepare(const char* text, Session& session, ApiChannel& channel) {
  session.options = ParseOptions(text, session.backend);
  session.faults = Faults(session.options.faults);
  for (const auto& [name, value] : session.options.environment) setenv(name.c_str(), value.c_str(), 1);
  session.log = RequestLog(session.options.log);
  session.backend.Open(session);
  session.output.echo = session.options.echo;
  session.output.stream = OutputStream(session.options.stream);
  session.output.files = session.options.output;
  session.output.Write();
  session.faults.AtStart(channel);
}

// Tells the driver how the start went, and a person why it failed. False where no session comes of it.
bool Start(DriverLink& link, const char* options, Session& session) {
  Refusal failure(0, "");
  try {
    if (!link.Watches()) throw Refusal(engine_code::kNoRoom, MeaningOf(engine_code::kNoRoom));
    Prepare(options, session, link.Channel());
  } catch (const Refusal& refusal) {
    failure = refusal;
  } catch (const std::exception&) {
    failure = Refusal(engine_code::kNoRoom, MeaningOf(engine_code::kNoRoom));
  }
  if (failure.code != 0) std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, failure.what());
  if (failure.code == 0 && !link.Channel().Listen()) return false;
  return link.Report(failure.code, ReasonText(failure.what())) && failure.code == 0;
}

bool WriteLast(Session& session) {
  try {
    if (!session.output_written) session.output.Write();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

// A driver that can be handed lines of its language has made its fifo of the channel by now.
bool HasChannel(const std::string& xname) {
  const std::string prefix = GetXPipeManager()->getPipeSuit(xname)->getPipeNamePrefix();
  return VexaDXConfigReader::GetInstance()->IsSupportLanguage(xname) &&
         access((prefix + "_s").c_str(), F_OK) == 0;
}

}  // namespace

bool Backend::TakeOption(const std::string&, const std::function<std::string()>&) { return false; }

void Backend::Open(Session&) {}

// With a period at the end of a line.
std::size_t Backend::CommandEnd(std::string_view text) const {
  std::size_t end = 0;
  std::string_view command;
  do {
    const std::size_t line_end = std::min(text.find('\n', end), text.size());
    command = text.substr(0, line_end);
    while (!command.empty() && std::string_view(" \t\r").find(command.back()) != std::string_view::npos) {
      command.remove_suffix(1);
    }
    end = std::min(line_end + 1, text.size());
  } while (end < text.size() && !command.ends_with('.'));
  return end;
}

int BackendMain(Backend& backend, int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: %s DIRECTORY ID XNAME OPTIONS\n", program_invocation_short_name);
    return EXIT_FAILURE;
  }
  std::signal(SIGPIPE, SIG_IGN);  // a driver that is gone shows as a failed write
  std::signal(SIGXFSZ, SIG_IGN);  // as is a file that may not grow
  std::signal(SIGINT, SIG_IGN);   // meant for the driver, which may go on
  DriverLink link(argv[1], argv[2], argv[3], [&backend] { backend.Cancel(); });
  Session session(backend);
  session.driver_language = argv[3];
  session.driver_channel = HasChannel(argv[3]);
  if (!Start(link, argv[4], session)) return EXIT_FAILURE;
  Serve(session, link.Channel());
  backend.Close(session);
  // Once the driver was answered that all is over, it may kill the engine in the middle of a file.
  return WriteLast(session) ? EXIT_SUCCESS : EXIT_FAILURE;
}
