// Programs and libraries: whether the loader takes them, asked in processes of their own.
#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string_view>

#include "doctor.h"

namespace {

constexpr const char* kNames = "VEXA_PROBED_NAMES";  // what the probing process looks for
constexpr const char* kSearch = "LD_LIBRARY_PATH";

struct Machine {
  bool elf = false;
  unsigned char bits = 0;
  unsigned number = 0;
};

Machine MachineOf(const std::string& path) {
  std::array<char, 20> head = {};
  std::ifstream(path, std::ios::binary).read(head.data(), head.size());
  const auto byte = [&head](std::size_t at) { return static_cast<unsigned char>(head[at]); };
  return {std::memcmp(head.data(), ELFMAG, SELFMAG) == 0, byte(EI_CLASS), byte(18) + 256U * byte(19)};
}

std::string NameOf(const Machine& machine) {
  switch (machine.number) {
    case EM_X86_64:
      return "x86-64";
    case EM_AARCH64:
      return "aarch64";
    case EM_386:
      return "i386";
    case EM_ARM:
      return "arm";
    case EM_RISCV:
      return "riscv";
    case EM_PPC64:
      return "ppc64";
    case EM_S390:
      return "s390";
    default:
      return "machine " + std::to_string(machine.number);
  }
}

// What the program's run prints; standard error with it.
std::string OutputOf(const std::vector<std::string>& words, const std::string& search,
                     const std::string& names, int& status) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return std::strerror(errno);
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  const char* const inherited = std::getenv(kSearch);
  const std::string path = search + (inherited != nullptr ? ":" + std::string(inherited) : "");
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
    setenv(kSearch, path.c_str(), 1);
    setenv(names.empty() ? "LD_TRACE_LOADED_OBJECTS" : kNames, names.empty() ? "1" : names.c_str(), 1);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(ends[1]);
  std::string output;
  char bytes[4096];
  for (ssize_t got = 0; (got = read(ends[0], bytes, sizeof bytes)) > 0;)
    output.append(bytes, static_cast<std::size_t>(got));
  close(ends[0]);
  if (child > 0) waitpid(child, &status, 0);
  return output;
}

// Of what the loader lists, what it does not find.
std::string NotFound(const std::string& listed) {
  std::istringstream lines(listed);
  for (std::string line; std::getline(lines, line);) {
    if (line.find("not found") != std::string::npos) return line.substr(line.find_first_not_of(" \t"));
  }
  return {};
}

}  // namespace

std::string WhyNoObject(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return path + ": " + std::strerror(errno);
  if (access(path.c_str(), R_OK) != 0) return path + " cannot be read";
  const Machine own = MachineOf("/proc/self/exe"), its = MachineOf(path);
  if (!its.elf) return path + " is no library or program of this system";
  if (its.bits != own.bits || its.number != own.number)
    return path + " is for " + NameOf(its) + ", and this machine's are for " + NameOf(own);
  return {};
}

std::string WhyNoProgram(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return path + ": " + std::strerror(errno);
  if (access(path.c_str(), X_OK) != 0 || !S_ISREG(status.st_mode)) return path + " is not executable";
  std::string first;
  std::ifstream file(path);
  std::getline(file, first);
  if (first.starts_with("#!")) {
    std::istringstream words(first.substr(2));
    std::string interpreter;
    words >> interpreter;
    return access(interpreter.c_str(), X_OK) == 0 ? ""
                                                  : path + " needs " + interpreter + ", which is not there";
  }
  if (std::string why = WhyNoObject(path); !why.empty()) return why;
  int exit_status = 0;
  const std::string missing = NotFound(OutputOf({path}, "", "", exit_status));
  return missing.empty() ? "" : path + " lacks a library: " + missing;
}

std::string WhyNoLibrary(const std::string& path, const std::string& search,
                         const std::vector<std::string>& names) {
  if (std::string why = WhyNoObject(path); !why.empty()) return why;
  std::string list = " ";
  for (const std::string& name : names) list += name + " ";
  int status = 0;
  const std::string told = OutputOf({"/proc/self/exe", "doctor", "--probe", path}, search, list, status);
  if (WIFSIGNALED(status) || WEXITSTATUS(status) != 0)
    return path + " ends the program that loads it" +
           (WIFSIGNALED(status) ? std::string(": ") + strsignal(WTERMSIG(status)) : "");
  return told.substr(0, told.find_last_not_of('\n') + 1);
}

int ProbeLibrary(const std::string& path) {
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (library == nullptr) {
    std::string_view reason = dlerror();
    if (reason.starts_with(path + ": ")) reason.remove_prefix(path.size() + 2);
    std::cout << path << " cannot be loaded: " << reason << '\n' << std::flush;
    _exit(EXIT_SUCCESS);
  }
  const char* const list = std::getenv(kNames);
  std::istringstream names(list != nullptr ? list : "");
  std::string lacks;
  for (std::string name; names >> name;) {
    if (dlsym(library, name.c_str()) == nullptr) lacks += " " + name;
  }
  if (!lacks.empty()) std::cout << path << " lacks" << lacks << '\n' << std::flush;
  _exit(EXIT_SUCCESS);  // what it has registered is not run
}
