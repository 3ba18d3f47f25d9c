#include "XPipes.h"

#include "DxTracer.h"

const char* const XPipes::SYNTAX_PIPE = "syntax";
const char* const XPipes::SYNTAX_RESULT_PIPE = "syntaxresult";
const char* const XPipes::XDAPI_PIPE = "xdapi";
const char* const XPipes::XDAPI_RESULT_PIPE = "xdapiresult";

namespace {

std::unique_ptr<VexaPipe> MakeEndpoint(const std::string& prefix, const char* name) {
  auto pipe = std::make_unique<VexaPipe>(prefix + name);
  DxTrace(std::string(name) + ":" + pipe->GetPipeName());
  return pipe;
}

}  // namespace

XPipes::XPipes(const std::string& prefix)
    : syntax(MakeEndpoint(prefix, SYNTAX_PIPE)),
      syntax_result(MakeEndpoint(prefix, SYNTAX_RESULT_PIPE)),
      xdapi(MakeEndpoint(prefix, XDAPI_PIPE)),
      xdapi_result(MakeEndpoint(prefix, XDAPI_RESULT_PIPE)) {}

XPipes::~XPipes() {
  // The order is seen in the trace.
  syntax.reset();
  syntax_result.reset();
  xdapi.reset();
  xdapi_result.reset();
}

void XPipes::RemoveFiles(bool only_created) const {
  for (const auto* pipe : {&syntax, &syntax_result, &xdapi, &xdapi_result}) (*pipe)->RemoveFile(only_created);
}
