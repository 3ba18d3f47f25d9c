// Languages in processes of their own, with the played language in the place of every program.
#ifndef SUPPORT_OUT_OF_PROCESS_H
#define SUPPORT_OUT_OF_PROCESS_H

#include "DxTracer.h"
#include "OutpStatisticsX.h"
#include "XCmdArgument.h"
#include "XConfigOptions.h"
#include "dxglobals.h"
#include "support/processes.h"
#include "support/ticking.h"
#include "xpipemanager.h"

using Texts = std::vector<std::string>;

// A home in which every program is the played language.
class OutOfProcess : public ProcessTest {
 protected:
  OutOfProcess() {
    for (const char* program : {"bin/startx", "bin/R", "JRE/bin/java"}) {
      const std::filesystem::path path = home.path() + "/" + program;
      std::filesystem::create_directories(path.parent_path());
      std::filesystem::create_symlink(VEXA_PLAYED_LANGUAGE, path);
    }
    SetVEXAHOME(home.path().c_str());
    SetEnvironment("NOTES", notes.path().c_str());
    tracer.open(notes.path() + "/trace"), SetDxTracer(&tracer);
    manager.emplace(sandbox.path() + "/", "04d2"), SetXPipeManager(&*manager);
  }
  ~OutOfProcess() override {
    language.reset();
    SetXPipeManager(nullptr), SetDxTracer(nullptr);
  }
  void Make(const std::string& name, const std::string& script, int mode = 1, bool backend_drives = true) {
    SetEnvironment("PLAYED", name == "R" ? "R" : name == "JAVAEXTENSION" ? "java" : "startx");
    SetEnvironment("SCRIPT", script.c_str());
    options.emplace(name);
    options->PutOption("HOME", home.path() + "/");
    language.emplace(&*options, mode, backend_drives);
    if (manager->getPipeSuit(name)->getIndex() < 0) manager->getPipeSuit(name)->increaseIndex();
  }
  int Start(const Texts& given = {}) {
    XCmdArgument arguments;
    for (const std::string& argument : given) arguments.pushArgument(argument);
    return language->init_embedded_x(static_cast<int>(given.size()), arguments.argv());
  }
  bool Ends() {
    return Await([this] { return !language->isXProcessActive(); });
  }
  int Execute(std::string block) { return language->execute_x(block.data()); }
  Texts Noted(const std::string& file) const {
    std::istringstream stream(ReadFile(notes.path() + "/" + file));
    Texts lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
  }
  bool Traced(const std::string& message) const {
    return ReadFile(notes.path() + "/trace").find(">>" + message + "\n") != std::string::npos;
  }

  Sandbox home;
  DxTracer tracer;
  std::optional<XPipeManager> manager;
  std::optional<XConfigOptions> options;
  std::optional<OutpStatisticsX> language;
};

#endif
