// A home for one run of a program: the real one's files under another roof, with a bin/StartXD of its own.
#ifndef REPLAY_HOME_H
#define REPLAY_HOME_H

#include <string>
#include <vector>

// In `directory`, which takes it along, under the real one's name; the backend is what these words start,
// with those of StartXD behind them. Returns its path. Throws std::filesystem::filesystem_error.
std::string MakeReplayHome(const std::string& directory, const std::string& real_home,
                           const std::vector<std::string>& backend);
// In the environment of this process: VEXA_HOME, and where the bindings of the home are found.
void UseHome(const std::string& home);
// Runs a program to its end: its exit code, 128 and more for a signal.
inline constexpr int kNotStarted = 127;
int RunProgram(const std::vector<std::string>& words);

#endif
