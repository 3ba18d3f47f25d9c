// Blocks of languages that a played backend runs: in the program, where that takes blocks of its own
// language, and in processes of the languages, where they are wanted. What a block asks is handed to `Serve`.
#ifndef REPLAY_BLOCKS_H
#define REPLAY_BLOCKS_H

#include <functional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "OutpStatisticsX.h"
#include "XConfigOptions.h"
#include "api_channel.h"

struct LanguageBlock {
  std::string language;
  std::vector<std::string> lines;
};
// Those of a text that Submit sends, in the form of the practice engine.
std::vector<LanguageBlock> BlocksOf(std::string_view text);

class BlockRuns {
 public:
  using Serve = std::function<void(ApiChannel& level)>;
  // The descriptor can be read when the program is gone: then all waits end.
  BlockRuns(std::string driver, bool runs_others, int program_gone);

  // False for a language that is left alone.
  bool Takes(const std::string& language) const;
  // The code of the run.
  int Run(const LanguageBlock& block, const Serve& serve);
  // What ends a wait for requests: that the program is gone, and the ends of the runs that are under way.
  std::span<const int> Ends() const { return ends; }
  // Tells all of them to stop, the program's own as well.
  void Stop();

 private:
  bool UnderWay() const { return ends.size() > 1; }
  OutpStatisticsX* RuntimeOf(const std::string& language, XConfigOptions* options);

  const std::string driver_language;
  const bool others;
  bool driver_takes = false;
  std::set<std::string> started;
  std::vector<int> ends;
};

#endif
