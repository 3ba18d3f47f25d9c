// The functions of a language library, called in the order in which the library calls them.
#include "prove_language.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "InpStatisticsX.h"
#include "PlugInDynamicLoadedLibrary.h"
#include "VexaDXConfigReader.h"
#include "XCmdArgument.h"
#include "descriptor.h"
#include "doctor.h"
#include "driven_backend.h"
#include "dxcallback.h"
#include "dxglobals.h"

namespace {

std::string posted;  // by the language

int Post(const char* text, int length) {
  posted.append(text, static_cast<std::size_t>(length));
  return 0;
}

// Tells of each step that it begins, and how it ended: a process that dies is known to have died within it.
class Teller {
 public:
  explicit Teller(int descriptor) : to(descriptor) {}
  void Step(const std::string& step) {
    name = step;
    Say("?" + step);
  }
  // `why` is empty for what went well.
  bool End(const std::string& why) {
    Say((why.empty() ? "+" : "-") + name + "\t" + why);
    return why.empty();
  }

 private:
  void Say(std::string line) {
    for (char& c : line) {
      if (c == '\n') c = ' ';
    }
    line += '\n';
    if (write(to, line.data(), line.size()) == -1) _exit(EXIT_FAILURE);
  }
  int to;
  std::string name;
};

std::string Wanted(const std::string& what, int code) {
  return code == 0 ? "" : "expected 0 of " + what + ", and it gave " + std::to_string(code);
}

class Steps {
 public:
  Steps(const TriedLanguage& tried, int told)
      : language(tried),
        teller(told),
        options(*VexaDXConfigReader::GetInstance()->GetOptions(tried.name)),
        runtime(&options, false) {}

  void Take() {
    teller.Step("it is loaded as the library loads it");
    if (!teller.End(Wanted("loading it", runtime.loadXlib()))) return;
    teller.Step("it takes the table of callbacks");
    runtime.x_setup_dxcallback(CreateDXCallBackHandle());
    teller.End("");
    if (!Start("starts")) return;
    Block("runs an empty block", "", nullptr);
    const Blocks& blocks = language.blocks;
    if (!blocks.print.empty()) {
      const std::string print = With(blocks.print, "Grüße");
      Block("gives its output to the function that takes it", print, "Grüße\n");
      Block("runs a block without a line end", print, "Grüße\n", false);
      Block("runs a block on another thread", print, "Grüße\n", true, true);
    }
    if (!blocks.fail.empty()) Failure();
    if (!blocks.print.empty()) Block("runs the block behind it", With(blocks.print, "good"), "good\n");
    if (!blocks.kept.empty()) {
      Block("takes a name", With(blocks.keep, "remembered"), nullptr);
      Block("still has it in the next block", blocks.kept, "remembered\n");
    }
    if (!Stop("stops") || !Start("starts again")) return;
    if (!blocks.print.empty()) Block("runs a block after that", With(blocks.print, "again"), "again\n");
    Stop("stops again");
  }

 private:
  bool Start(const char* step) {
    teller.Step(step);
    XCmdArgument arguments(options.GetXArgs());
    const int code = runtime.x_init_embedded_x(arguments.argc(), arguments.argv());
    if (code == 0) runtime.x_set_post_vexa_output(Post);
    return teller.End(Wanted("init_embedded_x", code) + (code == 0 ? "" : Words()));
  }
  bool Stop(const char* step) {
    teller.Step(step);
    return teller.End(Wanted("stop_embedded_x", runtime.x_stop_embedded_x()));
  }

  // The steps around it and itself. The code is that of the first which does not go well.
  int Execute(const std::string& lines, std::string& why) {
    std::string text = lines;
    posted.clear();
    if (const int code = runtime.x_pre_action()) return why = Wanted("pre_action", code), code;
    const int code = runtime.x_execute_x(text.data());
    if (code != 0) why = Wanted("execute_x", code) + Words();
    const int after = runtime.x_post_action();
    if (code == 0) why = Wanted("post_action", after);
    return code;
  }

  void Block(const char* step, const std::string& lines, const char* wanted, bool ended = true,
             bool apart = false) {
    teller.Step(step);
    std::string why;
    const auto run = [&] { Execute(lines + (ended && !lines.ends_with('\n') ? "\n" : ""), why); };
    if (apart)
      std::thread(run).join();
    else
      run();
    if (why.empty() && wanted != nullptr && posted.find(wanted) == std::string::npos)
      why =
          std::string("expected \"") + wanted + "\" to be posted, and got \"" + posted.substr(0, 200) + "\"";
    teller.End(why);
  }

  void Failure() {
    constexpr const char* kWords = "mistaken";
    teller.Step("gives a block that fails a code");
    std::string why;
    const int code = Execute(With(language.blocks.fail, kWords) + "\n", why);
    if (!teller.End(code != 0 ? "" : "expected a code other than 0")) return;
    teller.Step("tells why");
    const std::string all = Words() + posted;
    teller.End(all.find(kWords) != std::string::npos
                   ? ""
                   : std::string("expected \"") + kWords + "\" of last_error_x or in the output, and got \"" +
                         all + "\"");
  }

  // What it says of the last failure, if it says anything.
  std::string Words() const {
    void* const library = dlopen(language.library.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (library == nullptr) return "";
    const auto last = reinterpret_cast<const char* (*)()>(dlsym(library, "last_error_x"));
    const char* const words = last != nullptr ? last() : nullptr;
    dlclose(library);
    return words != nullptr && *words != '\0' ? ": " + std::string(words) : "";
  }

  const TriedLanguage& language;
  Teller teller;
  XConfigOptions& options;
  InpStatisticsX runtime;
};

// Reads line by line, each of which has to come in time.
class Lines {
 public:
  Lines(int descriptor, double seconds) : from(descriptor), within(seconds) {}
  bool Next(std::string& line) {
    const double end = Seconds() + within;
    std::size_t length = 0;
    while ((length = rest.find('\n')) == std::string::npos) {
      pollfd look = {from, POLLIN, 0};
      if (poll(&look, 1, 20) == 1) {
        char bytes[4096];
        const ssize_t got = read(from, bytes, sizeof bytes);
        if (got <= 0) return false;
        rest.append(bytes, static_cast<std::size_t>(got));
      } else if (Seconds() > end) {
        late = true;
        return false;
      }
    }
    line = rest.substr(0, length);
    rest.erase(0, length + 1);
    return true;
  }
  bool Late() const { return late; }

 private:
  int from;
  double within;
  std::string rest;
  bool late = false;
};

pid_t SpawnSteps(const TriedLanguage& language, const std::vector<std::string>& words, int told) {
  constexpr int kTold = 3;
  XCmdArgument arguments;
  for (const std::string& word : words) arguments.pushArgument(word);
  arguments.pushArgument("--steps");
  arguments.pushArgument(std::to_string(kTold));
  const char* const search = std::getenv("LD_LIBRARY_PATH");
  setenv("LD_LIBRARY_PATH",
         (language.home + "/lib" + (search != nullptr ? ":" + std::string(search) : "")).c_str(), 1);
  setenv("VEXA_HOME", language.home.c_str(), 1);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&files, told, kTold);
  pid_t process = -1;
  if (posix_spawn(&process, "/proc/self/exe", &files, nullptr, arguments.argv(), environ) != 0) process = -1;
  posix_spawn_file_actions_destroy(&files);
  return process;
}

std::string HowItEnded(pid_t process, bool late) {
  if (late) kill(process, SIGKILL);
  int status = 0;
  waitpid(process, &status, 0);
  if (late) return "it did not come back in time";
  if (WIFSIGNALED(status)) return std::string("the process died of it: ") + strsignal(WTERMSIG(status));
  return WEXITSTATUS(status) == 0 ? ""
                                  : "the process ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

int TakeSteps(const TriedLanguage& language, int told) {
  SetVEXAHOME(language.home.c_str());
  Steps(language, told).Take();
  _exit(EXIT_SUCCESS);  // what the runtime has registered is not run
}

void ProveLibrary(const TriedLanguage& language, const std::vector<std::string>& words, Report& report) {
  report.Begin("library");
  const std::string why = WhyNoLibrary(language.library, language.home + "/lib", LanguageFunctions());
  if (!report.Check(why.empty(), "has the functions of a language", why)) return;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error(std::strerror(errno));
  const Descriptor hears(ends[0]);
  Descriptor tells(ends[1]);
  const pid_t process = SpawnSteps(language, words, tells.Number());
  tells.Close();
  if (process <= 0) return report.Fault("a process for it starts", std::strerror(errno));
  Lines lines(hears.Number(), language.within);
  std::string begun;
  for (std::string line; lines.Next(line);) {
    const std::size_t tab = line.find('\t');
    const std::string step = line.substr(1, tab == std::string::npos ? tab : tab - 1);
    begun = line[0] == '?' ? step : "";
    if (line[0] != '?')
      report.Check(line[0] == '+', step, tab == std::string::npos ? "" : line.substr(tab + 1));
  }
  const std::string end = HowItEnded(process, lines.Late());
  if (!begun.empty() || !end.empty())
    report.Fault(begun.empty() ? "its process ends" : begun,
                 end.empty() ? "the process ended within it" : end);
}
