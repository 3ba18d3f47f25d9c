// vexaengine DIRECTORY ID XNAME OPTIONS: the practice engine. Loads its data, tells the driver how that went,
// and serves its requests until the driver ends the session or goes away.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include "csv_reader.h"
#include "driver_link.h"
#include "options.h"
#include "session.h"
#include "side_file.h"

namespace {

Dataset LoadData(const std::string& path) {
  if (path.empty()) return {};
  Dataset dataset = ReadCsv(path);
  ReadSideFile(path + ".vars", dataset);
  return dataset;
}

// One line for each request, for whoever writes a binding: the number and what it was answered.
class RequestLog {
 public:
  RequestLog() = default;
  explicit RequestLog(const std::string& path) {
    if (path.empty()) return;
    file.reset(std::fopen(path.c_str(), "we"));
    if (!file) throw StartFailure(engine_code::kUnreadable, path + ": the log cannot be written");
    std::setvbuf(file.get(), nullptr, _IOLBF, BUFSIZ);
  }
  void Note(Action action, int code) {
    if (file) std::fprintf(file.get(), "action %d code %d\n", static_cast<int>(action), code);
  }

 private:
  struct Closer {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
  };
  std::unique_ptr<std::FILE, Closer> file;
};

void ServeDriver(DriverLink& link, Session& session, RequestLog& log) {
  CleXDSmb request;
  CleXDSmb reply;
  while (!session.ended) {
    request.CleanUp();
    request.SetCommandAction(Action::None);  // what a broken frame would leave from the last one
    reply.CleanUp();
    if (!link.NextRequest(request)) return;
    const bool wanted = session.Serve(request, reply);
    const std::unique_ptr<char[]> image(reply.GetBinaryData());  // a block never frees its binary string
    log.Note(request.GetCommandAction(), reply.GetErrorCode());
    if (wanted && !link.Reply(reply)) return;
  }
}

// What the options ask for, or why that cannot be.
struct Start {
  int code = 0;
  RequestLog log;
};

Start Prepare(const char* text, Session& session) {
  Start start;
  const auto refuse = [&](int code, const char* reason) {
    std::fprintf(stderr, "vexaengine: %s\n", reason);
    start.code = code;
  };
  try {
    session.options = ParseOptions(text);
    start.log = RequestLog(session.options.log);
    session.Data() = LoadData(session.options.data);
    session.output.files = session.options.output;
    if (!session.output.Write()) {
      throw StartFailure(engine_code::kUnreadable, session.output.files + ": the output cannot be written");
    }
  } catch (const StartFailure& failure) {
    refuse(failure.code, failure.what());
  } catch (const std::bad_alloc&) {
    refuse(engine_code::kUnreadable, "the data do not fit into memory");
  }
  return start;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: vexaengine DIRECTORY ID XNAME OPTIONS\n");
    return EXIT_FAILURE;
  }
  std::signal(SIGPIPE, SIG_IGN);  // a driver that is gone shows as a failed write
  std::signal(SIGINT, SIG_IGN);   // meant for the driver, which may go on
  DriverLink link(argv[1], argv[2], argv[3]);
  Session session;
  Start start = Prepare(argv[4], session);
  if (start.code == 0 && !link.Listen()) return EXIT_FAILURE;
  if (!link.Report(start.code) || start.code != 0) return EXIT_FAILURE;
  ServeDriver(link, session, start.log);
  // Once the driver was answered that all is over, it may kill the engine in the middle of a file.
  return session.output_written || session.output.Write() ? EXIT_SUCCESS : EXIT_FAILURE;
}
