// InpStatisticsX: a language in this process. Its dynamic library, LIB_NAME of its section in the
// configuration, lies in <home>/lib and exports plain C functions, called in this order:
//
//   void setup_dxcallback(void* handle)                    may be missing
//   int init_embedded_x(int argc, char** argv)
//   void set_post_vexa_output(int (*)(const char*, int))   may be missing
//   int pre_action(void)                                   before each block; any result but 0 ends the run
//   int execute_x(char* lines)                             a block
//   int post_action(void)                                  after each block that ran
//   int stop_embedded_x(void)
//   const char* last_error_x(void)                         may be missing; behind any code but 0: why, in
//   words
//
// The constructor loads the library and reports nothing: a failure waits as the last result, and is what each
// operation gives whose function was not found.
#ifndef INPSTATISTICSX_H
#define INPSTATISTICSX_H

#include <cstdint>
#include <memory>

#include "StatisticsX.h"
#include "vexa_api.h"

class PlugInDynamicLoadedLibrary;
class XConfigOptions;

class VEXA_API InpStatisticsX : public StatisticsX {
 public:
  // The options are the caller's and outlive the object.
  InpStatisticsX(XConfigOptions* options, bool backendDrives);
  // Stops the language.
  ~InpStatisticsX() override;

  int x_init_embedded_x(int argc, char** argv) override;
  int x_execute_x(char* lines) override;
  int x_stop_embedded_x() override;
  int x_pre_action() override;
  int x_post_action() override;
  void x_setup_dxcallback(void* handle) override;
  void x_set_post_vexa_output(PostOutputFunction post) override;
  int x_get_library_lock() override;
  int x_release_library_lock() override;

  // Puts the language's variables into the environment, loads the library and looks its functions up. The
  // last result: 99118 without a LIB_NAME, 99114 when the library does not load or lacks a function. What was
  // found in front of a missing one stays in use.
  int loadXlib();

 private:
  // Each null until it is found.
  struct Functions {
    void (*setup_dxcallback)(void* handle) = nullptr;
    int (*init_embedded_x)(int argc, char** argv) = nullptr;
    int (*execute_x)(char* lines) = nullptr;
    int (*stop_embedded_x)() = nullptr;
    void (*set_post_vexa_output)(PostOutputFunction post) = nullptr;
    int (*pre_action)() = nullptr;
    int (*post_action)() = nullptr;
    const char* (*last_error_x)() = nullptr;
  };

  int Told(int code) const;
  bool OpenLibrary();
  void FindFunctions();

  Functions functions;
  XConfigOptions* options;
  std::unique_ptr<PlugInDynamicLoadedLibrary> library;
  std::int32_t last_result = 0;
  std::string why_unusable;  // told at each try to begin, as the library is looked for once
};

#endif
