#include "frame_record.h"

#include <sys/resource.h>
#include <sys/wait.h>

#include <cerrno>

#include "CleXDErrorCode.h"
#include "sendreceive.h"
#include "support/sandbox.h"

namespace {

// Both ends of a fifo, and what the processes recorded of it. The record is read for the first time here: a
// test has a process of its own.
class FrameRecordTest : public testing::Test {
 protected:
  struct Entry : RecordEntry {
    std::string fifo, bytes;
  };

  FrameRecordTest() {
    alarm(30);
    Record(directory);
    EXPECT_EQ(reader.CreatePipe(), 0);
    EXPECT_EQ(reader.OpenPipeToUnBlockRead(), 0);
    EXPECT_EQ(writer.OpenPipeToWrite(), 0);
  }
  ~FrameRecordTest() override { alarm(0); }

  static void Record(const std::string& where) { setenv("VEXA_RECORD", where.c_str(), 1); }
  int Send(int value, int void_bytes = 0) {
    CleXDSmb block;
    block.SetLong(value);
    if (void_bytes != 0) block.SetVoidData(calloc(1, static_cast<std::size_t>(void_bytes)), void_bytes);
    return SendData(&writer, block);
  }
  int Receive() {
    CleXDSmb block;
    return ReceiveData(&reader, block);
  }

  std::vector<Entry> EntriesOf(pid_t process) const {
    std::ifstream file(directory + "/" + std::to_string(process) + ".vexarec", std::ios::binary);
    const auto value = [&](auto& to) { file.read(reinterpret_cast<char*>(&to), sizeof to); };
    const auto text = [&](std::size_t length) {
      std::string bytes(length, '\0');
      file.read(bytes.data(), static_cast<std::streamsize>(length));
      return bytes;
    };
    RecordHead head = {};
    value(head);
    text(head.length - sizeof head);
    EXPECT_EQ(head.process, process);
    std::vector<Entry> entries;
    for (RecordEntry entry = {}; value(entry), file && entry.length != 0;) {
      entries.push_back({entry, text(entry.name), ""});
      entries.back().bytes = text(entry.kept);
      EXPECT_EQ(entry.length, sizeof entry + entry.name + entry.kept);
    }
    return entries;
  }

  Sandbox sandbox;
  const std::string directory = sandbox.path() + "/record";
  VexaPipe reader{sandbox.path() + "/fifo"}, writer{sandbox.path() + "/fifo"};
};

TEST_F(FrameRecordTest, KeepsTheFrontOfLargeFramesAndTellsTheWholeLength) {
  EXPECT_EQ(Send(3, 100000), 0);
  EXPECT_EQ(Receive(), 0);
  EXPECT_EQ(Send(4), 0);
  const std::vector<Entry> entries = EntriesOf(getpid());
  ASSERT_EQ(entries.size(), 3u);
  for (const Entry& entry : {entries[0], entries[1]}) {
    EXPECT_EQ(entry.fifo, "fifo");
    EXPECT_EQ(entry.code, 0);
    EXPECT_EQ(entry.moved, 100056u);
    EXPECT_EQ(entry.frame, 100056u);
    EXPECT_EQ(entry.bytes.size(), RecordEntry::kMostKept);
  }
  EXPECT_EQ(entries[0].bytes, entries[1].bytes);
  EXPECT_EQ(entries[0].direction, RecordEntry::kSent);
  EXPECT_EQ(entries[1].direction, RecordEntry::kReceived);
  EXPECT_LE(entries[0].time, entries[1].time);
  EXPECT_EQ(entries[2].bytes.size(), 56u);
}

TEST_F(FrameRecordTest, TellsAFrameThatBrokeOff) {
  unsigned long written = 0;
  const std::int32_t front[] = {56, 9, 0, 1};
  EXPECT_EQ(writer.WriteData(front, sizeof front, &written), 0);
  writer.ClosePipe();
  Receive();
  EXPECT_EQ(writer.OpenPipeToWrite(), 0);
  EXPECT_EQ(Send(0), 0);  // what was received is written with it
  const std::vector<Entry> entries = EntriesOf(getpid());
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].code, CleXDErrorCode::kPeerClosed);
  EXPECT_EQ(entries[0].moved, sizeof front);
  EXPECT_EQ(entries[0].frame, 56u);
  EXPECT_EQ(entries[0].bytes.size(), sizeof front);
}

TEST_F(FrameRecordTest, SaysOnceThatADirectoryCannotBeWrittenAndFailsNoCall) {
  const std::string file = sandbox.Write("file", "");
  Record(file + "/within");
  testing::internal::CaptureStderr();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Send(i), 0);
    EXPECT_EQ(Receive(), 0);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "vexa: nothing more is recorded (VEXA_RECORD): " + file + "/within: Not a directory\n");
}

// Over the limit of the process, as on a disk that is full: no signal, no failed call, and the record says
// so.
TEST_F(FrameRecordTest, SaysInItselfThatItEndsWhereItMayNotGrow) {
  constexpr rlim_t kMost = 1 << 20;
  const rlimit limit = {kMost, RLIM_INFINITY};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  testing::internal::CaptureStderr();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(Send(i, 50000), 0);
    EXPECT_EQ(Receive(), 0);
  }
  const std::string path = directory + "/" + std::to_string(getpid()) + ".vexarec";
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "vexa: nothing more is recorded (VEXA_RECORD): " + path + ": File too large\n");
  const std::vector<Entry> entries = EntriesOf(getpid());
  ASSERT_EQ(entries.size(), 20u + 1u);
  EXPECT_EQ(entries.back().direction, RecordEntry::kEnded);
  EXPECT_EQ(entries.back().code, EFBIG);
}

// Neither writes what the other has done, also where that was not written yet.
TEST_F(FrameRecordTest, AForkHasAFileOfItsOwn) {
  EXPECT_EQ(Send(1), 0);
  EXPECT_EQ(Receive(), 0);
  const pid_t child = fork();
  if (child == 0) _exit(Send(2));
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Receive(), 0);
  EXPECT_EQ(Send(3), 0);
  EXPECT_EQ(EntriesOf(child).size(), 1u);
  EXPECT_EQ(EntriesOf(getpid()).size(), 4u);
}

}  // namespace
