// The hot paths whose instructions bench/count counts, under callgrind: `hot_paths NAME` takes one of them
// 100 times. Nothing that is counted waits for anybody or depends on a clock, so that each run counts the
// same.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

#include "CleXDSmb.h"
#include "raw_fifo.h"
#include "vexaxd_p.h"

namespace {

constexpr int kTimes = 100;

void Require(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "hot_paths: %s\n", what);
  std::exit(1);
}

// --- What is counted, and nothing outside of these ---

extern "C" {
[[gnu::noinline]] void CountedCall() {
  int code = 0;
  GetVariableCount(&code);
  Require(code == 0, "no answer");
}
[[gnu::noinline]] void CountedCase() { Require(NextCase() == 0, "no case"); }
[[gnu::noinline]] void CountedValue() {
  double value = 0;
  int missing = 0;
  Require(GetNumericValue(4, &value, &missing) == 0, "no value");
}
[[gnu::noinline]] void CountedCell() { Require(SetNCellValue("*", 1, 4, 2.5) == 0, "no cell"); }
[[gnu::noinline]] void CountedBuild(CleXDSmb& block) { block.ContructSendData(); }
[[gnu::noinline]] void CountedParse(void* image) {
  CleXDSmb block;
  block.ParseBuf(image);
}
}

// A small call whose reply lies ready: this process is at both ends of both fifos. Of the second the client
// makes the file, with its first call.
void SmallCalls(const std::string& directory) {
  char id[16], dropped[8192];
  std::snprintf(id, sizeof id, "%04x", static_cast<unsigned>(getpid()));
  const std::string requests_name = directory + id + "BENCH0xdapi", replies_name = requests_name + "result";
  Require(mkfifo(requests_name.c_str(), 0600) == 0, "no fifo");
  const int requests = open(requests_name.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  CleXDSmb reply;
  int length = 0;
  reply.SetLong(7);
  reply.ContructSendData();
  const char* const image = reply.GetSendBuf(length);
  SetVexaRunning(true);
  std::thread first([] {
    int code = 0;
    GetVariableCount(&code);
  });
  while (access(replies_name.c_str(), F_OK) != 0) usleep(1000);
  const int replies = open(replies_name.c_str(), O_RDWR | O_CLOEXEC);
  for (int i = 0; i <= kTimes; ++i) {
    Require(write(replies, image, static_cast<std::size_t>(length)) == length, "no reply");
    if (i == 0) {
      first.join();
    } else {
      CountedCall();
    }
    Require(read(requests, dropped, sizeof dropped) > 0, "no request");
  }
}

void StartEngine() {
  Require(StartVexa("-data " VEXA_SOURCE_DIR "/examples/data/airquality.csv") == 0, "no engine");
}

void Cases() {
  StartEngine();
  Require(MakeCaseCursor("r") == 0 && NextCase() == 0, "no cursor");
  for (int i = 0; i < kTimes; ++i) CountedCase(), CountedValue();
  StopVexa();
}

void Cells() {
  StartEngine();
  Require(StartDataStep() == 0 && CreateDataset("*", false, false) == 0, "no data step");
  for (int i = 0; i < kTimes; ++i) CountedCell();
  Require(EndDataStep() == 0, "the cells were refused");
  StopVexa();
}

void Blocks() {
  CleXDSmb block;
  StringData names;
  for (const char* name : {"salary", "a longer name of a variable"}) {
    names.SetValue(name);
    block.SetString(name);
    block.SetLong(3);
    block.SetDouble(1.5);
  }
  block.SetStringArray(names);
  block.AllocVoidData(64);
  block.SaveDataIntoVoidData(std::string(64, 'v').data(), 64);
  int length = 0;
  for (int i = 0; i < kTimes; ++i) CountedBuild(block), CountedParse(block.GetSendBuf(length));
}

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory;
  const std::string_view path = argc == 2 ? argv[1] : "";
  setenv("VEXA_SPIN", "0", 1);
  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("BENCH", VEXA_STAGED_HOME);
  if (path == "calls") {
    SmallCalls(directory.path());
  } else if (path == "cases") {
    Cases();
  } else if (path == "cells") {
    Cells();
  } else {
    Require(path == "blocks", "calls, cases, cells or blocks?");
    Blocks();
  }
}
