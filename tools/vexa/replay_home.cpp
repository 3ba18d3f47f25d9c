#include "replay_home.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

namespace fs = std::filesystem;

std::string ShellQuoted(const std::string& word) {
  std::string quoted = "'";
  for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

void LinkAll(const fs::path& from, const fs::path& to, const std::string& but) {
  fs::create_directory(to);
  for (const fs::directory_entry& each : fs::directory_iterator(from)) {
    const fs::path name = each.path().filename();
    if (name != but) fs::create_symlink(each.path(), to / name);
  }
}

// Behind what the variable has, if there is such a thing at all.
void Append(const char* variable, const fs::path& place, const std::string& value) {
  std::error_code unknown;
  if (!fs::exists(place, unknown)) return;
  const char* const old = std::getenv(variable);
  const bool set = old != nullptr && *old != '\0';
  setenv(variable, (set ? old + (":" + value) : value).c_str(), 1);
}

volatile std::sig_atomic_t running = 0;

void HandOn(int signal) {
  const auto process = static_cast<pid_t>(running);
  if (process > 0) kill(process, signal);
}

}  // namespace

std::string MakeReplayHome(const std::string& directory, const std::string& real_home,
                           const std::vector<std::string>& backend) {
  const fs::path real = real_home, home = fs::path(directory) / real.filename();
  LinkAll(real, home, "bin");
  LinkAll(real / "bin", home / "bin", "StartXD");
  const fs::path script = home / "bin/StartXD";
  std::ofstream file(script);
  file << "#!/bin/sh\npackages=" << ShellQuoted(real / "lib/R-library")
       << "\n[ ! -d \"$packages\" ] || export R_LIBS=\"$packages${R_LIBS:+:$R_LIBS}\"\nexec";
  for (const std::string& word : backend) file << ' ' << ShellQuoted(word);
  file << " \"$@\"\n";
  file.close();
  fs::permissions(script, fs::perms::owner_all);
  return home;
}

void UseHome(const std::string& home) {
  setenv("VEXA_HOME", home.c_str(), 1);
  const fs::path lib = fs::path(home) / "lib";
  Append("LD_LIBRARY_PATH", lib, lib);
  Append("PYTHONPATH", lib / "python", lib / "python");
  Append("NODE_PATH", lib / "node", lib / "node");
  Append("R_LIBS", lib / "R-library", lib / "R-library");
  if (std::getenv("LUA_CPATH") == nullptr)
    Append("LUA_CPATH", lib / "lua", (lib / "lua").string() + "/?.so;;");
}

int RunProgram(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  // What the terminal sends comes to the program as well, which decides.
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGQUIT, SIG_IGN);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGINT);
  sigaddset(&defaults, SIGQUIT);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t process = -1;
  const int code = posix_spawnp(&process, arguments[0], nullptr, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  if (code != 0) {
    std::cerr << "vexa: " << words[0] << ": " << std::strerror(code) << '\n';
    return kNotStarted;
  }
  running = process;
  std::signal(SIGTERM, HandOn);
  std::signal(SIGHUP, HandOn);
  int status = 0;
  while (waitpid(process, &status, 0) == -1 && errno == EINTR) {
  }
  running = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
