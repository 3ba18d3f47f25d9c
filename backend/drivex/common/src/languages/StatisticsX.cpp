#include "StatisticsX.h"

#include "CleXDErrorCode.h"
#include "DxTracer.h"

StatisticsX::StatisticsX(bool backendDrives) : backend_drives(backendDrives) {}
StatisticsX::~StatisticsX() = default;

void StatisticsX::x_setup_dxcallback(void*) {}
void StatisticsX::x_set_post_vexa_output(PostOutputFunction) {}
int StatisticsX::x_get_library_lock() { return 0; }
int StatisticsX::x_release_library_lock() { return 0; }

int StatisticsX::init_embedded_x(int argc, char** argv) {
  if (isIntialized() && !isR()) return 0;
  if (isR()) {
    setIntialized(true);
    DxTrace("StatisticsX::init_embedded_R");
  }
  const int result = isVexaDrive() ? x_init_embedded_x(argc, argv) : 0;
  setIntialized(result == 0);
  DxTraceError("StatisticsX::init_embedded_x", result);
  return result;
}

int StatisticsX::execute_x(char* lines) {
  int result = CleXDErrorCode::kNotInitialised;
  if (isIntialized()) {
    // A nested block of the same language ends inside the outer one, which goes on running.
    const struct Running {
      std::atomic<bool>& running;
      const bool outer = running.exchange(true, std::memory_order_relaxed);
      ~Running() { running.store(outer, std::memory_order_relaxed); }
    } until_it_ends{running};
    result = x_execute_x(lines);
  }
  DxTraceError("StatisticsX::execute_x", result);
  return result;
}

int StatisticsX::stop_embedded_x() {
  const int result = isIntialized() && isVexaDrive() ? x_stop_embedded_x() : 0;
  setIntialized(false);
  DxTraceError("StatisticsX::stop_embedded_x", result);
  return result;
}

int StatisticsX::pre_action() {
  const int result = isIntialized() ? x_pre_action() : CleXDErrorCode::kNotInitialised;
  DxTraceError("StatisticsX::pre_action", result);
  return result;
}

int StatisticsX::post_action() {
  const int result = isIntialized() ? x_post_action() : CleXDErrorCode::kNotInitialised;
  DxTraceError("StatisticsX::post_action", result);
  return result;
}

void StatisticsX::setup_dxcallback(void* handle) {
  x_setup_dxcallback(handle);
  DxTrace("StatisticsX::setup_dxcallback");
}

void StatisticsX::set_post_vexa_output(PostOutputFunction post) {
  x_set_post_vexa_output(post);
  DxTrace("StatisticsX::x_set_post_vexa_output");  // kept: its "x_" is what readers of the trace look for
}
