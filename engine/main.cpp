// vexaengine DIRECTORY ID XNAME OPTIONS: the practice engine. Loads its data, tells the driver how that went,
// and serves its requests until the driver ends the session or goes away.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "VexaDXConfigReader.h"
#include "csv_reader.h"
#include "driver_link.h"
#include "dxglobals.h"
#include "options.h"
#include "serving.h"
#include "side_file.h"
#include "xpipemanager.h"

namespace {

// Warnings go to whoever looks at the terminal, and to whoever looks at the output alone.
void LoadData(Session& session) {
  const std::string& path = session.options.data;
  if (path.empty()) return;
  std::vector<std::string> warnings;
  session.Data() = ReadCsv(path, session.options.missing, warnings);
  ReadSideFile(path + ".vars", session.Data());
  for (const std::string& warning : warnings) {
    std::fprintf(stderr, "vexaengine: %s\n", warning.c_str());
    session.output.Post(warning + "\n");
  }
}

// Does what the options ask for. Throws Refusal.
void Prepare(const char* text, Session& session, ApiChannel& channel) {
  session.options = ParseOptions(text);
  session.faults = Faults(session.options.faults);
  for (const auto& [name, value] : session.options.environment) setenv(name.c_str(), value.c_str(), 1);
  session.log = RequestLog(session.options.log);
  LoadData(session);
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
    failure = Refusal(engine_code::kUnreadable, session.options.data + ": the data do not fit into memory");
  }
  if (failure.code != 0) std::fprintf(stderr, "vexaengine: %s\n", failure.what());
  if (failure.code == 0 && !link.Channel().Listen()) return false;
  return link.Report(failure.code, failure.what()) && failure.code == 0;
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

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: vexaengine DIRECTORY ID XNAME OPTIONS\n");
    return EXIT_FAILURE;
  }
  std::signal(SIGPIPE, SIG_IGN);  // a driver that is gone shows as a failed write
  std::signal(SIGXFSZ, SIG_IGN);  // as is a file that may not grow
  std::signal(SIGINT, SIG_IGN);   // meant for the driver, which may go on
  DriverLink link(argv[1], argv[2], argv[3]);
  Session session;
  session.driver_language = argv[3];
  session.driver_channel = HasChannel(argv[3]);
  if (!Start(link, argv[4], session)) return EXIT_FAILURE;
  Serve(session, link.Channel());
  // Once the driver was answered that all is over, it may kill the engine in the middle of a file.
  return WriteLast(session) ? EXIT_SUCCESS : EXIT_FAILURE;
}
