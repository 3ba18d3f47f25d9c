#include "backend.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "CleXDErrorCode.h"
#include "home.h"
#include "interrupts.h"
#include "vexaxd_p.h"

namespace {

constexpr const char* kName = "VEXA";  // of the language that drives, as the fifos bear it
constexpr const char* kHandedOn[] = {"DISPLAY", "XAUTHORITY", "LANG", "LC_ALL", "TZ"};
// Not PGPASSWORD: what is handed on can be seen in the list of processes.
constexpr const char* kHandedOnForServer[] = {"PGHOST",     "PGPORT",    "PGDATABASE",    "PGUSER",
                                              "PGPASSFILE", "PGSERVICE", "PGSERVICEFILE", "PGSSLMODE"};

std::string Quoted(const std::string& word) {
  std::string quoted = "\"";
  for (const char c : word) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

// The engine puts the endings behind it itself.
std::string OutputPrefix(const std::string& path) {
  for (const std::string_view ending : {".html", ".txt"}) {
    if (path.size() > ending.size() && path.ends_with(ending))
      return path.substr(0, path.size() - ending.size());
  }
  return path;
}

void HandOn(std::span<const char* const> names, std::string& line) {
  for (const char* name : names) {
    if (const char* value = std::getenv(name)) line += " -env " + Quoted(std::string(name) + "=" + value);
  }
}

// For what comes while nobody looks: it is looked at ten times a second.
Descriptor OpenFifo(const std::string& path) {
  constexpr int kBytes = 1 << 20;
  if (mkfifo(path.c_str(), 0600) != 0) return {};
  Descriptor fifo(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  fcntl(fifo.Number(), F_SETPIPE_SZ, kBytes);
  return fifo;
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

PrivateDirectory::PrivateDirectory() {
  const char* const place = std::getenv("TMPDIR");
  path = std::string(place != nullptr && *place != '\0' ? place : "/tmp") + "/vexa_XXXXXX";
  if (mkdtemp(path.data()) == nullptr)
    throw std::runtime_error(path + ": no directory for the session can be made: " + std::strerror(errno));
  setenv("VEXADXTEMP", path.c_str(), 0);
}

PrivateDirectory::~PrivateDirectory() {
  const char* const used = std::getenv("VEXADXTEMP");
  if (used != nullptr && used == path) unsetenv("VEXADXTEMP");
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

Backend::Backend(const BackendOptions& of, Presenter& presenter) : options(of), shown(presenter) {
  setenv("VEXA_QUICK", "1", 0);
  VexaSetInterruptCheck(Look, this);
}

Backend::~Backend() { VexaSetInterruptCheck(nullptr, nullptr); }

std::string OptionsText(const BackendOptions& options) {
  std::string line;
  const auto add = [&line](const char* option, const std::string& value) {
    if (!value.empty()) line.append(" ").append(option).append(" ").append(Quoted(value));
  };
  add("-data", options.data);
  if (options.database) line.append(" -database ").append(Quoted(*options.database));
  add("-table", options.table);
  add("-output", OutputPrefix(options.output));
  add("-log", options.log);
  for (const std::string& text : options.missing) add("-missing", text);
  if (options.database) HandOn(kHandedOnForServer, line);
  for (const std::string& setting : options.environment) add("-env", setting);
  return line + (options.more.empty() ? "" : " " + options.more);
}

std::string Backend::CommandLine() const {
  std::string line = " -stream " + Quoted(directory.File("output"));
  HandOn(kHandedOn, line);
  return line + OptionsText(options);
}

int Backend::Start() {
  const Home home = FindHome(options.home);
  if (access((home.path + "/bin/StartXD").c_str(), X_OK) != 0) {
    shown.Failed({"", CleXDErrorCode::kBackendNotRunning,
                  home.path + " (" + home.told +
                      ") is no home: it has no bin/StartXD; name one with --home or in VEXA_HOME"});
    return exit_codes::kNoBackend;
  }
  SetXNameAndSHome(kName, home.path.c_str());
  std::error_code ignored;
  std::filesystem::remove(directory.File("output"), ignored);
  stream = OpenFifo(directory.File("output"));
  line_begun.clear();
  broken = false;
  const Task starting(*this, "starting the backend");
  const int code = StartVexa(CommandLine().c_str());
  if (code == 0) return exit_codes::kGood;
  Fail("", code);
  return code == CleXDErrorCode::kInterrupted ? ExitCode(code) : exit_codes::kNoBackend;
}

// It tells no code; what it had to say is the last error.
int Backend::Stop() {
  const std::string before = VexaLastError();
  stopping = true;
  StopVexa();
  stopping = false;
  ShowOutput();
  if (broken || before == VexaLastError()) return exit_codes::kGood;
  shown.Failed({"", 0, VexaLastError()});
  return exit_codes::kFailed;
}

int Backend::Submit(const std::string& text, const std::string& place) {
  const int code = ::Submit(text.data(), static_cast<int>(text.size()));
  ShowOutput();
  if (code != 0) Fail(place, code);
  return code;
}

void Backend::Fail(const std::string& place, int code) {
  broken = ExitCode(code) != exit_codes::kFailed;
  if (code == CleXDErrorCode::kInterrupted && !AskedToEnd())
    return shown.Failed(
        {place, code, "interrupted; the backend goes on with it (" + std::to_string(code) + ")"});
  shown.Failed({place, code, VexaLastError()});
}

int Backend::ExitCode(int code) {
  if (AskedToEnd()) return exit_codes::kEnded;
  switch (code) {
    case 0:
      return exit_codes::kGood;
    case CleXDErrorCode::kInterrupted:
      return exit_codes::kInterrupt;
    case CleXDErrorCode::kPeerClosed:
    case CleXDErrorCode::kPipeFailed:
    case CleXDErrorCode::kProcessNotAlive:
    case CleXDErrorCode::kBackendNotRunning:
      return exit_codes::kLost;
    default:
      return exit_codes::kFailed;
  }
}

Backend::Task::Task(Backend& backend, std::string title) : of(backend) {
  of.task = std::move(title);
  of.task_start = start = std::chrono::steady_clock::now();
}

Backend::Task::~Task() {
  of.task.clear();
  of.shown.Progress("");
}

double Backend::Task::Seconds() const { return SecondsSince(start); }

// Asked by the library while a call waits.
int Backend::Look(void* backend) {
  constexpr double kLong = 1;
  Backend& self = *static_cast<Backend*>(backend);
  self.ShowOutput();
  const double seconds = SecondsSince(self.task_start);
  if (!self.task.empty() && seconds >= kLong)
    self.shown.Progress(self.task + ", " + std::to_string(static_cast<long>(seconds)) +
                        " s (Ctrl-C gives it up)");
  return Interrupted() && !self.stopping ? 1 : 0;
}

void Backend::ShowOutput() {
  char bytes[65536];
  for (ssize_t got = 0; (got = read(stream.Number(), bytes, sizeof bytes)) > 0;) {
    line_begun.append(bytes, static_cast<std::size_t>(got));
    std::size_t start = 0;
    for (std::size_t end = 0; (end = line_begun.find('\n', start)) != std::string::npos; start = end + 1)
      shown.Show(line_begun.substr(start, end - start));
    line_begun.erase(0, start);
  }
}
