// With VEXA_TEST_TIMER in the environment a signal comes to the main thread each millisecond: what waits
// there has to go on by itself.
#include "support/ticking.h"

namespace {

const auto pester = std::getenv("VEXA_TEST_TIMER") != nullptr ? std::make_unique<Ticking>(1000) : nullptr;

}  // namespace
