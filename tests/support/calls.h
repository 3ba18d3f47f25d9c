// Tables of calls: what goes out, and how each kind of result succeeds and fails.
#ifndef SUPPORT_CALLS_H
#define SUPPORT_CALLS_H

#include <functional>
#include <vector>

#include "CleXDErrorCode.h"
#include "support/scripted_peer.h"
#include "vexaxd_p.h"

constexpr int kDown = CleXDErrorCode::kBackendNotRunning;
constexpr int kRefused = 77;  // a code of the peer's own

struct StatusCall {
  Image request;
  std::function<int()> call;
};

class CallsTest : public ClientTest {
 protected:
  // The status comes back as it stands, and nothing is sent while no backend runs.
  void CheckGuarded(const std::vector<StatusCall>& rows) {
    for (const StatusCall& row : rows) {
      SCOPED_TRACE(row.request.action);
      for (const int code : {kRefused, 0}) {
        peer.Expects(row.request).Answers(Error{code});
        EXPECT_EQ(row.call(), code);
      }
      SetVexaRunning(false);
      EXPECT_EQ(row.call(), kDown);
      SetVexaRunning(true);
    }
  }
  void CheckTexts(const Image& request, const std::function<const char*(int*)>& ask, const char* failure) {
    SCOPED_TRACE(request.action);
    peer.Expects(request).Answers(Strings{"text"});
    EXPECT_STREQ(ask(&error), "text");
    peer.Expects(request).Answers(Error{kRefused}, Strings{"text"});
    EXPECT_STREQ(ask(&error), failure);
    EXPECT_EQ(error, kRefused);
  }
  void CheckList(const Image& request, const std::function<void*(int*)>& ask) {
    SCOPED_TRACE(request.action);
    peer.Expects(request).Answers(Strings{"one", "two"});
    void* const list = ask(&error);
    EXPECT_EQ(GetStringListLength(list), 2);
    EXPECT_STREQ(GetStringFromList(list, 1), "two");
    RemoveStringList(list);
    peer.Expects(request).Answers(Error{kRefused}, Strings{"one"});
    EXPECT_EQ(ask(&error), nullptr);
    EXPECT_EQ(error, kRefused);
  }
};

#endif
