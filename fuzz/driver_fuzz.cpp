// The input is what a driver asks the practice engine for: requests, one behind the other, in the wire image
// or as a few bytes that say which action and which of some likely arguments. A session serves them all, and
// every reply is built and has to answer its request.
//
// Nothing starts or is written: no configuration names a language, and commands of a driver that carry a file
// are left out.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "CleXDSmb.h"
#include "memory_dataset.h"
#include "session.h"
#include "vexa_assert.h"

namespace {

constexpr std::size_t kMostRequests = 200;

// A dataset of three variables and cases, a table and a second dataset: something to find for a request.
void Fill(Session& session) {
  auto& data = dynamic_cast<MemoryDataset&>(session.Data());
  data.AddVariable(Variable("a", 0));
  data.AddVariable(Variable("b", 0));
  data.AddVariable(Variable("t", 9));
  for (std::size_t i = 0; i < 3; ++i) data.InsertCase(i);
  data.splits = {"a"};
  dynamic_cast<MemoryDataset&>(session.datasets.Add("other")).AddVariable(Variable("x", 3));
  const std::string names[] = {"o", "t", "title"};
  session.output.StartTable(names, false);
}

// Datasets in memory, and no commands.
struct Memory final : Backend {
  Memory() : Backend({"driver_fuzz", "0", ""}) {}
  std::unique_ptr<Dataset> Make(const std::string& name, bool) override {
    auto dataset = std::make_unique<MemoryDataset>();
    dataset->name = name;
    return dataset;
  }
};

// Bytes of the input, zeros behind its end.
class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : next(data), left(size) {}
  std::size_t Left() const { return left; }
  std::uint8_t Byte() { return left != 0 ? --left, *next++ : std::uint8_t{0}; }
  std::string Take(std::size_t count) {
    count = std::min(count, left);
    std::string text(reinterpret_cast<const char*>(next), count);
    next += count;
    left -= count;
    return text;
  }

 private:
  const std::uint8_t* next;
  std::size_t left;
};

std::string Text(Bytes& bytes) {
  static const char* const kLikely[] = {"",  "a", "b", "t", "x", "other", "*",   "W",
                                        "r", "o", "h", "d", "/", "title", "new", "//text()"};
  const std::uint8_t choice = bytes.Byte();
  return choice < 240 ? kLikely[choice % std::size(kLikely)] : bytes.Take(choice - 240u);
}

int Number(Bytes& bytes) {
  static constexpr int kLikely[] = {0,  1,  2,  3,       4,       5,     8,       9,
                                    -1, -2, -3, INT_MAX, INT_MIN, 32767, 1 << 30, 255};
  const std::uint8_t choice = bytes.Byte();
  return choice < 200 ? kLikely[choice % std::size(kLikely)] : choice - 200;
}

// A frame for a first byte of 255, else an action and its arguments.
void Read(Bytes& bytes, CleXDSmb& request) {
  const int action = bytes.Byte();
  if (action == 255) {
    const std::string frame = bytes.Take(bytes.Byte() * 8u);
    request.ReadRecordsInPlace();
    request.ParseFrame(frame.data(), frame.size());
    return;
  }
  request.SetCommandAction(static_cast<Action>(action));
  const std::uint8_t counts = bytes.Byte();
  for (int i = counts & 7; i > 0; --i) request.SetLong(static_cast<long>(Number(bytes)));
  for (int i = counts >> 3 & 7; i > 0; --i) request.SetString(Text(bytes).c_str());
  for (int i = counts >> 6; i > 0; --i) request.SetDouble(Number(bytes) / 4.0);
  const std::uint8_t more = bytes.Byte();
  if ((more & 1) != 0) {
    StringData texts;
    for (int i = more >> 4; i > 0; --i) texts.SetValue(Text(bytes));
    request.SetStringArray(texts);
    request.SetStringArray(texts);
  }
  if ((more & 2) != 0) {
    LongData longs;
    for (int i = more >> 4; i > 0; --i) longs.SetValue(Number(bytes));
    request.SetLongArray(longs);
  }
  if ((more & 4) != 0) {
    const int length = 8 * (more >> 4);
    request.AllocVoidData(length);
    const std::string block = bytes.Take(static_cast<std::size_t>(length));
    request.SaveDataIntoVoidData(block.data(), static_cast<int>(block.size()));
  }
}

bool IsHarmless(CleXDSmb& request) {
  if (request.GetCommandAction() == Action::AcceptSocket) return false;  // waits for a program
  if (request.GetCommandAction() == Action::StopVexa) return false;      // stops languages
  const auto& texts = request.GetStringDataRef().Values();
  return std::none_of(texts.begin(), texts.end(), [](const std::string& text) {
    return text.find("FILE") != std::string::npos || text.find("file") != std::string::npos;
  });
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("VEXA_HOME", "/nowhere", 1);  // no configuration, so no language
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  Memory memory;
  Session session(memory);
  Fill(session);
  for (std::size_t i = 0; i < kMostRequests && bytes.Left() != 0 && !session.ended; ++i) {
    CleXDSmb request;
    Read(bytes, request);
    if (!IsHarmless(request)) continue;
    const Action action = request.GetCommandAction();
    CleXDSmb reply;
    const bool wanted = session.Serve(request, reply);
    const std::unique_ptr<char[]> image(reply.GetBinaryData());
    VEXA_ASSERT(!wanted || reply.GetCommandAction() == action);
    reply.ContructSendData();
    int length = 0;
    VEXA_ASSERT(reply.GetSendBuf(length) != nullptr);
  }
  return 0;
}
