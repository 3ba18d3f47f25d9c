// The input is what a hostile backend answers to some calls of the interface, one reply behind the other over
// real fifos. Of each reply it says whether it is a frame with numbers and texts of its own in their slots,
// or bytes at random, and where it breaks off. A backend without a further reply hangs up.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "CleXDErrorCode.h"
#include "call_frame.h"
#include "cursor_data_smb.h"
#include "dataset_catalogue.h"
#include "support/answering_peer.h"
#include "support/every_function.h"
#include "support/wire.h"
#include "vexa_assert.h"
#include "vexaxd_columns.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

// What the interface demands of a reply ends the process; here it ends the call.
struct Demand : std::exception {};

constexpr std::string_view kDemands[] = {"0 == errCode", "size > 0", "size > 1", "sData.Size() == 1",
                                         "sData.Size() == 2"};

}  // namespace

extern "C" {
[[noreturn]] void __real__Z16VexaAssertFailedPKciS0_(const char* file, int line, const char* expression);
[[noreturn]] void __wrap__Z16VexaAssertFailedPKciS0_(const char* file, int line, const char* expression) {
  if (std::find(std::begin(kDemands), std::end(kDemands), expression) != std::end(kDemands)) throw Demand();
  __real__Z16VexaAssertFailedPKciS0_(file, line, expression);
}
}

namespace {

constexpr std::size_t kMostCalls = 8;
constexpr int kMostSteps = 200;
constexpr std::int32_t kMostPromised = 256 * 1024;  // of a frame, and need not come

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : at(data), left(size) {}
  bool Empty() const { return left == 0; }
  std::uint32_t Byte() {
    if (left == 0) return 0;
    --left;
    return *at++;
  }
  std::uint32_t Short() {
    const std::uint32_t low = Byte();
    return low | Byte() << 8;
  }
  std::string Bytes(std::size_t wanted) {
    std::string bytes;
    while (bytes.size() < wanted && left != 0) bytes += static_cast<char>(Byte());
    return bytes;
  }
  // One that matters, or any.
  std::int32_t Number() {
    constexpr std::int32_t kTelling[] = {0,  1,  2,  3,         8,         9,       16,
                                         -1, -2, -3, INT32_MAX, INT32_MIN, 1 << 20, 32767};
    const std::uint32_t which = Byte();
    if (which < std::size(kTelling)) return kTelling[which];
    return static_cast<std::int32_t>(which < 128 ? which : Short() << 16 | Short());
  }

 private:
  const std::uint8_t* at;
  std::size_t left;
};

template <class List, class Make>
void Fill(List& list, Input& input, Make make) {
  list.resize(input.Byte() % 5);
  for (auto& element : list) element = make();
}

Image SlotsOf(Input& input) {
  const auto number = [&] { return input.Number(); };
  const auto real = [&] {
    return input.Byte() % 2 != 0 ? static_cast<double>(input.Number()) : VEXA_SystemMissing();
  };
  const auto text = [&] { return input.Bytes(input.Byte() % 40); };
  Image image;
  constexpr std::int32_t kTold[] = {0, 0, 0, 0, 0, 23, 67, 93};
  image.error = kTold[input.Byte() % std::size(kTold)];
  Fill(image.longs, input, number);
  Fill(image.doubles, input, real);
  Fill(image.strings, input, text);
  if (input.Byte() % 2 != 0) {
    image.long_lists.resize(1);
    Fill(image.long_lists[0], input, number);
    image.double_lists.resize(1);
    Fill(image.double_lists[0], input, real);
    image.string_lists.resize(2);
    for (auto& list : image.string_lists) Fill(list, input, text);
    image.binary = text();
    Fill(image.wide, input, [&] { return static_cast<char32_t>(input.Number()); });
  }
  const std::uint32_t block = input.Byte();
  image.void_block = block < 200 ? input.Bytes(block) : std::string((block - 200) * 997, 'v');
  return image;
}

// A frame that is shorter than what comes at once ends the process, by the interface, and bytes behind a
// frame are of no reply: its length is made to cover them.
void CoverAll(std::string& frame) {
  std::int32_t length = 0;
  if (frame.size() < sizeof length) return;
  std::memcpy(&length, frame.data(), sizeof length);
  length = std::max(std::min(length, kMostPromised), static_cast<std::int32_t>(frame.size()));
  std::memcpy(frame.data(), &length, sizeof length);
}

std::string NextReply(Input& input) {
  if (input.Empty()) return "";
  const std::uint32_t kind = input.Byte();
  std::string frame = kind % 8 == 0 ? input.Bytes(input.Short() % 512) : Encode(SlotsOf(input));
  const std::uint32_t twist = input.Byte();  // most are as they are
  if (twist >= 224 && frame.size() > 4) {    // a word of it is another
    const std::int32_t number = input.Number();
    const std::size_t word = 4 * (input.Short() % (frame.size() / 4));
    std::memcpy(frame.data() + word, &number, sizeof number);
  } else if (twist >= 200) {
    frame.resize(std::min<std::size_t>(frame.size(), input.Short()));
  }
  CoverAll(frame);
  return frame;
}

// Reads all that an array says is there; the sum is of no use.
unsigned Touch(const void* bytes, std::size_t size) {
  unsigned sum = 0;
  for (std::size_t i = 0; i < size; ++i) sum += static_cast<const unsigned char*>(bytes)[i];
  return sum;
}
template <class Offset>
unsigned TouchTexts(const ArrowArray& array) {
  const auto* const ends = static_cast<const Offset*>(array.buffers[1]);
  for (std::int64_t row = 0; row < array.length; ++row) VEXA_ASSERT(ends[row] <= ends[row + 1]);
  return Touch(array.buffers[2], static_cast<std::size_t>(ends[array.length]));
}
unsigned TouchArray(const ArrowSchema& schema, const ArrowArray& array) {
  const auto rows = static_cast<std::size_t>(array.length);
  unsigned sum = array.buffers[0] != nullptr ? Touch(array.buffers[0], (rows + 7) / 8) : 0;
  switch (schema.format[0]) {
    case 'g':
      return sum + Touch(array.buffers[1], rows * sizeof(double));
    case 'b':
      return sum + Touch(array.buffers[1], (rows + 7) / 8);
    case 'i':
      for (std::size_t row = 0; row < rows; ++row)
        VEXA_ASSERT(static_cast<const std::uint32_t*>(array.buffers[1])[row] < array.dictionary->length);
      return sum + TouchArray(*schema.dictionary, *array.dictionary);
    case 'u':
    case 'z':
      return sum + TouchTexts<std::int32_t>(array);
    case 'U':
    case 'Z':
      return sum + TouchTexts<std::int64_t>(array);
    default:
      for (std::int64_t i = 0; i < array.n_children; ++i)
        sum += TouchArray(*schema.children[i], *array.children[i]);
      return sum;
  }
}

// The session lives as long as the process; what calls have left in it goes with each input.
class Session {
 public:
  Session() : directory(std::filesystem::temp_directory_path() / "backend_fuzz.XXXXXX") {
    VEXA_ASSERT(mkdtemp(directory.data()) != nullptr);
    setenv("VEXADXTEMP", directory.c_str(), 1);
    peer = std::make_unique<AnsweringPeer>(
        directory + "/" + ProcessIdText() + "UNNAMEDX0",
        [this](const std::string&) { return replies != nullptr ? NextReply(*replies) : std::string(); });
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() {
    peer.reset();
    std::filesystem::remove_all(directory);
  }

  void Begin(Input& input) {
    replies = &input;
    SetVexaRunning(true);
    isProcedure = true;
  }
  void Make(const EveryCall& call) {
    if (call.name == "MakeCaseCursor") DropCursor();
    if (call.name == "EndDataStep") DropStep();
    Protected([&] {
      CallRoom room;
      call.make(room);
    });
    if (call.name == "MakeCaseCursor") Walk();
  }
  // All batches of a stream over the active dataset, or over the one whose name the peer has to tell.
  void ReadColumns(Input& input) {
    constexpr long kBatches[] = {0, 1, 3, VEXA_ALL_ROWS};
    const std::uint32_t options = input.Byte();
    const long batch_rows = kBatches[input.Byte() % std::size(kBatches)];
    ArrowArrayStream stream = {};
    DropCursor();
    Protected([&] {
      VexaReadColumns(options >= 128 ? "d" : nullptr, nullptr, 0, batch_rows, options & 15, &stream);
    });
    if (stream.release == nullptr) return;
    ArrowSchema schema;
    VEXA_ASSERT(stream.get_schema(&stream, &schema) == 0);
    for (int step = 0; step < kMostSteps; ++step) {
      ArrowArray batch = {};
      Protected([&] { stream.get_next(&stream, &batch); });
      if (batch.release == nullptr) break;
      volatile unsigned sum = TouchArray(schema, batch);
      static_cast<void>(sum);
      batch.release(&batch);
    }
    schema.release(&schema);
    Protected([&] { stream.release(&stream); });
  }
  void End() {
    peer->End();
    replies = nullptr;
    if (myPipeSuit != nullptr) {
      XPipes* const pipes = myPipeSuit->getXPipes();
      pipes->GetXDAPIPipe()->ClosePipe();
      pipes->GetXDAPIResultPipe()->ClosePipe();
    }
    DropCursor();
    DropStep();
    ResetStaticVars();
  }

 private:
  template <class Work>
  void Protected(Work work) {
    peer->Begin();
    try {
      work();
    } catch (const Demand&) {
    }
  }
  // Each value of each case.
  void Walk() {
    for (int step = 0, code = 0; step < kMostSteps && code == 0; ++step) {
      Protected([&] { code = NextCase(); });
      for (unsigned int index = 0; index < 4; ++index) {
        CallRoom room;
        char** text;
        double number;
        int missing;
        room.Fill(text);
        if (curCaseData != nullptr && curCaseData->HasData()) {
          GetNumericValue(index, &number, &missing);
          GetStringValue(index, text, 8, &missing);
        }
      }
    }
  }
  // By the interface, what stands here is overwritten and not released.
  static void DropCursor() {
    delete curCaseData;
    SetCursor(nullptr);
  }
  static void DropStep() {
    dataVec.Clear();
    dsNameVec.clear();
    casecountVec.clear();
    varcountVec.clear();
    if (dataSteps != nullptr) {
      for (const DatastepDataSmb* record : dataSteps->datasetStates) delete record;
    }
    delete dataSteps;
    dataSteps = nullptr;
    datasetCount = 0;
  }

  std::string directory;
  Input* replies = nullptr;
  std::unique_ptr<AnsweringPeer> peer;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Session session;
  Input input(data, size);
  const std::uint32_t head = input.Byte();
  std::vector<std::size_t> calls(head % kMostCalls + 1);
  for (std::size_t& call : calls) call = input.Short() % EveryFunction().size();
  session.Begin(input);
  if (head >= 128) session.ReadColumns(input);
  for (const std::size_t call : calls) session.Make(EveryFunction()[call]);
  session.End();
  return 0;
}
