#include "XPipes.h"

#include <iterator>
#include <utility>

#include "DxTracer.h"

const char* const XPipes::SYNTAX_PIPE = "syntax";
const char* const XPipes::SYNTAX_RESULT_PIPE = "syntaxresult";
const char* const XPipes::XDAPI_PIPE = "xdapi";
const char* const XPipes::XDAPI_RESULT_PIPE = "xdapiresult";

// They get their names last, when nothing can fail any more: an endpoint that goes takes the file of its name
// along.
XPipes::XPipes(const std::string& prefix)
    : syntax(std::make_unique<VexaPipe>()),
      syntax_result(std::make_unique<VexaPipe>()),
      xdapi(std::make_unique<VexaPipe>()),
      xdapi_result(std::make_unique<VexaPipe>()) {
  const char* const kinds[] = {SYNTAX_PIPE, SYNTAX_RESULT_PIPE, XDAPI_PIPE, XDAPI_RESULT_PIPE};
  VexaPipe* const ends[] = {syntax.get(), syntax_result.get(), xdapi.get(), xdapi_result.get()};
  std::string names[std::size(kinds)];
  for (std::size_t i = 0; i < std::size(kinds); ++i) {
    names[i] = prefix + kinds[i];
    DxTrace(std::string(kinds[i]) + ":" + names[i]);
  }
  for (std::size_t i = 0; i < std::size(kinds); ++i) ends[i]->SetPipeName(std::move(names[i]));
}

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
