#include "CleXDErrorCode.h"

namespace {
constexpr int kBrokenPipe = 109;
}

bool CleXDErrorCode::IsPipeError(int code) { return code == kPeerClosed || code == kBrokenPipe; }
