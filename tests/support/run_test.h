// Runs of language code in the test's own process, with the backend's ends in the test's hands.
#ifndef SUPPORT_RUN_TEST_H
#define SUPPORT_RUN_TEST_H

#include "StatisticsX.h"
#include "SyncSyntaxBuffer.h"
#include "XConfigOptions.h"
#include "XManager.h"
#include "call_frame.h"
#include "drivex.h"
#include "dxglobals.h"
#include "support/processes.h"
#include "support/scripted_peer.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

using Code = CleXDErrorCode;
using Key = DXCmdDispatcher::CmdKey;
using Texts = std::vector<std::string>;

// A runtime that notes what it is asked, and answers as it is told.
struct FakeRuntime : StatisticsX {
  FakeRuntime() : StatisticsX(true) {}
  int x_init_embedded_x(int argc, char** argv) override {
    std::string text = "init";
    for (int i = 0; i < argc; ++i) text += std::string("|") + argv[i];
    return log.push_back(text), init;
  }
  int x_execute_x(char* lines) override {
    thread = gettid();
    log.push_back(lines);
    if (within) within();
    return execute;
  }
  void x_setup_dxcallback(void* handle) override { table = handle; }
  int x_stop_embedded_x() override { return 0; }
  int x_pre_action() override { return log.push_back("pre"), pre; }
  int x_post_action() override { return log.push_back("post"), 9; }
  Texts log;
  int init = 0, pre = 0, execute = 0;
  void* table = nullptr;
  std::function<void()> within;  // what executing does
  std::atomic<pid_t> thread = 0;
};

// A process that takes runs of the language T.
class RunTest : public Deadline {
 protected:
  RunTest() {
    home.Write("bin/vexadxcfg.ini", "[SUPPORTED_LANG]\nX=T\nTRACE=" + notes.path() + "\n");
    for (const char* name : {"VEXA_HOME", "VEXA_RUNNING"}) SetEnvironment(name, nullptr);
    SetEnvironment("VEXADXTEMP", temp.path().c_str());
    mySyntaxData.SetStop(false);
    GSetUseSyncDx(false);
  }
  ~RunTest() override {
    EndSession();
    EXPECT_EQ(temp.Entries(), Texts());
    EXPECT_FALSE(HasChildren());
  }
  // The objects of the process, and a runtime for T.
  FakeRuntime& Host() {
    InitDxGlobal(temp.path() + "/", ProcessIdText(), "T", home.path());
    auto* runtime = new FakeRuntime;
    GetXManager()->addStatisticsX("T", runtime);
    return *runtime;
  }
  VexaDX_P& OpenLevel(FakeRuntime& runtime) {
    GetXManager()->addVexaDX(new VexaDX_P("T", &runtime, &options));
    return dynamic_cast<VexaDX_P&>(*GetXManager()->getBackVexaDX());
  }
  bool Traced(const std::string& text) const {
    return ReadFile(notes.path() + "/T_trace.log").find(text) != std::string::npos;
  }
  std::string Channel() const { return temp.path() + "/" + ProcessIdText() + "T"; }

  Sandbox home, temp, notes;
  XConfigOptions options{"T"};
};

// The backend's ends of a level.
class Backend {
 public:
  explicit Backend(std::string level) : name(std::move(level)), xdapi(name) {
    for (const char* fifo : {"syntax", "syntaxresult"}) mkfifo((name + fifo).c_str(), 0600);
    results = open((name + "syntaxresult").c_str(), O_RDONLY | O_NONBLOCK);
  }
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;
  ~Backend() {
    for (const int fd : {results, syntax}) close(fd);
  }
  // The code of the next answer; -1 when there is none.
  int Answer() {
    std::string image = Encode(MakeImage(-1));
    pollfd look = {results, POLLIN, 0};
    if (poll(&look, 1, 5000) <= 0 || read(results, image.data(), image.size()) <= 0) return -1;
    return Decode(image)->error;
  }
  // Whether its end of the answers has been closed, with none in it.
  bool HungUp() const {
    pollfd look = {results, POLLIN, 0};
    return poll(&look, 1, 5000) > 0 && look.revents == POLLHUP;
  }
  void Sends(const Strings& lines) {
    if (syntax == -1) syntax = open((name + "syntax").c_str(), O_WRONLY);
    const std::string image = Encode(MakeImage(-1, lines));
    EXPECT_EQ(write(syntax, image.data(), image.size()), static_cast<ssize_t>(image.size()));
  }
  void Runs(const Strings& lines, int code) {
    EXPECT_EQ(Answer(), 0) << "the language listens";
    xdapi.Expects(200).Answers();
    Sends(lines);
    EXPECT_EQ(Answer(), code);
  }

 private:
  const std::string name;
  ScriptedPeer xdapi;
  int results = -1, syntax = -1;
};

#endif
