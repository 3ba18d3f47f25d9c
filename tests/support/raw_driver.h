// A driver of the staged engine that uses nothing of the library: it makes the fifo of the replies, starts
// the program and speaks the wire image with a codec of its own. Everything has a deadline.
#ifndef SUPPORT_RAW_DRIVER_H
#define SUPPORT_RAW_DRIVER_H

#include "descriptor.h"
#include "support/sandbox.h"
#include "support/wire.h"

class RawDriver {
 public:
  // Runs in the engine's process ahead of the program, with what the session's fifo names begin with.
  using InChild = std::function<void(const std::string& prefix)>;

  explicit RawDriver(const std::string& options, const InChild& in_child = {}) {
    signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(mkfifo((prefix + "RAW0xdapiresult").c_str(), 0600), 0);
    replies = Descriptor(open((prefix + "RAW0xdapiresult").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    engine = fork();
    if (engine == 0) Run(options, in_child);
    engine_id = engine;
    first = Receive();
    if (first.error == 0) requests = Descriptor(open((prefix + "RAW0xdapi").c_str(), O_WRONLY | O_CLOEXEC));
  }
  RawDriver(const RawDriver&) = delete;
  RawDriver& operator=(const RawDriver&) = delete;
  ~RawDriver() { End(); }

  void Send(const std::string& bytes) const { EXPECT_TRUE(WriteAll(requests.Number(), bytes, 20000)); }
  Image Receive() const {
    const auto image = Decode(ReadFrame(replies.Number(), 20000));
    EXPECT_TRUE(image) << "no reply";
    return image.value_or(MakeImage(-1, Error{-1}));
  }
  template <class... Slots>
  Image Ask(std::int32_t action, const Slots&... slots) const {
    Send(Encode(MakeImage(action, slots...)));
    return Receive();
  }
  // What the engine ends with when its driver hangs up: its exit status, or the signal, negative.
  int End() {
    requests.Close();
    if (engine == -1) return 0;
    int status = 0;
    EXPECT_EQ(waitpid(std::exchange(engine, -1), &status, 0), engine_id);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  Sandbox fifos, files;
  Image first;  // how the start went

 private:
  [[noreturn]] void Run(const std::string& options, const InChild& in_child) const {
    const std::string directory = fifos.path() + "/", errors = files.path() + "/errors";
    setenv("VEXA_HOME", VEXA_STAGED_HOME, 1);
    alarm(50);
    dup2(open(errors.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
    if (in_child) in_child(prefix);
    execl(VEXA_STAGED_HOME "/bin/vexaengine", "vexaengine", directory.c_str(), id.c_str(), "RAW",
          options.c_str(), nullptr);
    _exit(127);
  }

 public:
  const std::string id = IdOf(getpid()), prefix = fifos.path() + "/" + id;

 private:
  pid_t engine = -1, engine_id = -1;
  Descriptor requests, replies;
};

#endif
