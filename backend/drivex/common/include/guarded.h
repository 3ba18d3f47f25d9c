// Calls into a language, which may be anybody's code.
#ifndef GUARDED_H
#define GUARDED_H

#include <cxxabi.h>

#include <exception>

#include "CleXDErrorCode.h"
#include "DxTracer.h"
#include "reasons.h"

// What the language throws is a failure of the run, and does not end the host: it counts as a library that
// cannot be used. A thread that ends itself inside the language unwinds through here and goes on to: that is
// no exception of C++, and has no type.
template <class Work>
int CodeOf(Work work) {
  try {
    return work();
  } catch (const std::exception& error) {
    DxTrace(error.what());
    Because(CleXDErrorCode::kLibraryUnusable, "it threw ", error.what());
  } catch (...) {
    if (abi::__cxa_current_exception_type() == nullptr) throw;
    DxTrace("unknown exception");
  }
  return CleXDErrorCode::kLibraryUnusable;
}

#endif
