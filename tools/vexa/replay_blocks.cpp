#include "replay_blocks.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <exception>
#include <memory>
#include <thread>
#include <utility>

#include "CleXDErrorCode.h"
#include "OutpStatisticsX.h"
#include "VexaDXConfigReader.h"
#include "XManager.h"
#include "block_lines.h"
#include "descriptor.h"
#include "drivex.h"
#include "dxglobals.h"
#include "java_block.h"
#include "xpipemanager.h"

namespace {

constexpr int kOnThisMachine = 1;

// A driver on a nesting level of its own, which goes with it.
class OpenLevel {
 public:
  OpenLevel(const std::string& language, StatisticsX* runtime, XConfigOptions* options,
            std::vector<std::string>& lines)
      : driver(new DriveX(language, runtime, options)) {
    GetXManager()->addVexaDX(driver);
    driver->setSyntax(lines);
  }
  OpenLevel(const OpenLevel&) = delete;
  OpenLevel& operator=(const OpenLevel&) = delete;
  ~OpenLevel() { GetXManager()->destoryVexaDX(driver); }
  DriveX& Driver() const { return *driver; }

 private:
  DriveX* driver;  // the manager's
};

// Runs the block on a thread of its own, and serves its level meanwhile.
int Drive(DriveX& driver, std::vector<int>& ends, const BlockRuns::Serve& serve) {
  ApiChannel channel(*GetXPipeManager()->getPipeSuit(driver.XName())->getXPipes());
  if (!channel.Listen()) return CleXDErrorCode::kPipeFailed;
  const Descriptor over(eventfd(0, EFD_CLOEXEC));
  int code = CleXDErrorCode::kPipeFailed;
  ends.push_back(over.Number());
  std::jthread run([&] {
    try {
      code = driver.invokeX();
    } catch (const std::exception&) {
    }
    eventfd_write(over.Number(), 1);
  });
  serve(channel);
  run.join();
  ends.pop_back();
  return code;
}

}  // namespace

std::vector<LanguageBlock> BlocksOf(std::string_view text) {
  std::vector<LanguageBlock> blocks;
  bool open = false;
  while (!text.empty()) {
    const std::string_view line = TakeLine(text);
    if (open && EndsBlock(line))
      open = false;
    else if (open)
      blocks.back().lines.emplace_back(line);
    else if (std::string language = OpenedLanguage(line); !language.empty()) {
      blocks.push_back({std::move(language), {}});
      open = true;
    }
  }
  return blocks;
}

// A program that takes blocks has made its fifo of the channel by now.
BlockRuns::BlockRuns(std::string driver, bool runs_others, int program_gone)
    : driver_language(std::move(driver)), others(runs_others), ends({program_gone}) {
  const std::string prefix = GetXPipeManager()->getPipeSuit(driver_language)->getPipeNamePrefix();
  driver_takes = VexaDXConfigReader::GetInstance()->IsSupportLanguage(driver_language) &&
                 access((prefix + "_s").c_str(), F_OK) == 0;
}

bool BlockRuns::Takes(const std::string& language) const {
  if (driver_takes && language == driver_language) return true;
  return others && VexaDXConfigReader::GetInstance()->IsSupportLanguage(language);
}

int BlockRuns::Run(const LanguageBlock& block, const Serve& serve) {
  if (ends.size() == kMostRuns) return CleXDErrorCode::kPipeFailed;
  std::vector<std::string> lines = block.lines;
  XConfigOptions* const options = VexaDXConfigReader::GetInstance()->GetOptions(block.language);
  if (block.language == kJavaExtension) {
    JavaBlock java(options);
    if (!java.Fill(lines)) return CleXDErrorCode::kPipeFailed;
    int code = 0;
    {
      const OpenLevel level(block.language, &java.Runtime(), options, lines);
      java.TellLevel(level.Driver().getIndex());
      code = Drive(level.Driver(), ends, serve);
    }
    if (GetXPipeManager()->getPipeSuit(kJavaExtension)->getIndex() < 0)
      GetXPipeManager()->removePipeSuit(kJavaExtension);  // its pipes lead to nobody
    return code;
  }
  const OpenLevel level(block.language, RuntimeOf(block.language, options), options, lines);
  return Drive(level.Driver(), ends, serve);
}

// Kept by the manager for the blocks to come. One whose process has ended goes, with its pipes.
OutpStatisticsX* BlockRuns::RuntimeOf(const std::string& language, XConfigOptions* options) {
  const bool of_driver = driver_takes && language == driver_language;
  if (!of_driver) started.insert(language);
  auto* runtime = dynamic_cast<OutpStatisticsX*>(GetXManager()->getStatisticsX(language));
  if (runtime != nullptr) {
    if (of_driver || UnderWay() || !runtime->isIntialized() || runtime->isXProcessActive()) return runtime;
    GetXManager()->destoryStatisticsX(language);
    GetXPipeManager()->removePipeSuit(language);
  }
  runtime = new OutpStatisticsX(options, kOnThisMachine, !of_driver);
  GetXManager()->addStatisticsX(language, runtime);
  return runtime;
}

void BlockRuns::Stop() {
  if (UnderWay()) return;
  GetXManager()->stopX();
  for (const std::string& language : started) GetXPipeManager()->removePipeSuit(language);
  if (driver_takes)
    GetXPipeManager()
        ->getPipeSuit(driver_language)
        ->getCmdDispatcher(false)
        ->sendCmd(DXCmdDispatcher::kStopDX);
}
