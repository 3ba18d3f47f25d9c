// XPipes: the four fifos of one nesting level. Makes and names the endpoints at once; the fifos themselves
// are made by their readers.
#ifndef XPIPES_H
#define XPIPES_H

#include <memory>
#include <string>

#include "VexaPipe.h"
#include "vexa_api.h"

class VEXA_API XPipes {
 public:
  // The largest single write and read on a pipe, in bytes.
  static constexpr int PIPE_BUF_SIZE = 8192;

  // The last part of each fifo's name.
  static const char* const SYNTAX_PIPE;
  static const char* const SYNTAX_RESULT_PIPE;
  static const char* const XDAPI_PIPE;
  static const char* const XDAPI_RESULT_PIPE;

  explicit XPipes(const std::string& prefix);
  ~XPipes();

  VexaPipe* GetSyntaxPipe() { return syntax.get(); }               // syntax lines, to the language
  VexaPipe* GetSyntaxResultPipe() { return syntax_result.get(); }  // their results
  VexaPipe* GetXDAPIPipe() { return xdapi.get(); }                 // requests, to the backend
  VexaPipe* GetXDAPIResultPipe() { return xdapi_result.get(); }    // replies

  void RemoveFiles(bool only_created) const;

 private:
  std::unique_ptr<VexaPipe> syntax;
  std::unique_ptr<VexaPipe> syntax_result;
  std::unique_ptr<VexaPipe> xdapi;
  std::unique_ptr<VexaPipe> xdapi_result;
};

#endif
