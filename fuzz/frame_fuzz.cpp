// The input is what a peer writes into a fifo: a frame, whole or cut, and perhaps more behind it. ReceiveData
// takes it from there, and every slot that it filled is read to the end.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "CleXDErrorCode.h"
#include "CleXDSmb.h"
#include "VexaPipe.h"
#include "XPipes.h"
#include "sendreceive.h"
#include "vexa_assert.h"

namespace {

constexpr std::size_t kMaxInput = 60 * 1024;  // what a fifo surely takes without a reader at work
// A frame may promise more than what comes. How much memory a peer can ask for is not the question here.
constexpr std::int32_t kMaxPromise = 256 * 1024;

// A fifo with its reading end open, in a directory of this process. The writer comes and goes with each
// input.
class Peer {
 public:
  Peer() : directory_(std::filesystem::temp_directory_path() / "frame_fuzz.XXXXXX") {
    VEXA_ASSERT(mkdtemp(directory_.data()) != nullptr);
    pipe_.SetPipeName(directory_ + "/xdapiresult");
    VEXA_ASSERT(pipe_.CreatePipe() == 0);
    VEXA_ASSERT(pipe_.OpenPipeToUnBlockRead() == 0 && pipe_.MakeBlocking() == 0);
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer() { std::filesystem::remove_all(directory_); }

  // Writes all of it and hangs up.
  void Write(const std::vector<char>& bytes) {
    const int fd = open(pipe_.GetPipeName().c_str(), O_WRONLY | O_CLOEXEC);
    VEXA_ASSERT(fd != -1);
    VEXA_ASSERT(bytes.empty() || write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    close(fd);
  }
  // What ReceiveData left, up to the writer's end.
  void Drain() {
    char rest[XPipes::PIPE_BUF_SIZE];
    unsigned long got = 0;
    do {
      VEXA_ASSERT(pipe_.ReadData(sizeof rest, rest, got) == 0);
    } while (got != 0);
  }
  VexaPipe* pipe() { return &pipe_; }

 private:
  std::string directory_;
  VexaPipe pipe_;
};

// A first piece that is larger than its frame aborts, by contract: the length word is made to cover it.
void CoverFirstPiece(std::vector<char>& bytes) {
  std::int32_t length = 0;
  if (bytes.size() < sizeof length) return;
  std::memcpy(&length, bytes.data(), sizeof length);
  const auto first_piece =
      static_cast<std::int32_t>(std::min<std::size_t>(bytes.size(), XPipes::PIPE_BUF_SIZE));
  length = std::clamp(length, first_piece, kMaxPromise);
  std::memcpy(bytes.data(), &length, sizeof length);
}

// Has the sanitizer look at each byte.
std::size_t Sum(const void* bytes, std::size_t count) {
  std::size_t sum = 0;
  for (std::size_t i = 0; i < count; ++i) sum += static_cast<const unsigned char*>(bytes)[i];
  return sum;
}

std::vector<char> Image(CleXDSmb& block) {
  block.ContructSendData();
  int length = 0;
  const char* const image = block.GetSendBuf(length);
  return image != nullptr ? std::vector<char>(image, image + length) : std::vector<char>();
}

// Building reads the lists, the wide string and the void block to their ends; what was built has to parse to
// the same.
void BuildAndParseAgain(CleXDSmb& block) {
  std::vector<char> image = Image(block);
  VEXA_ASSERT(!image.empty());
  CleXDSmb again;
  again.ParseBuf(image.data());
  VEXA_ASSERT(Image(again) == image);
}

void TakeWhatTheCallerOwns(CleXDSmb& block) {
  int length = 0;
  const void* const bytes = block.GetVoidData(length);
  const std::size_t sum = bytes != nullptr && length > 0 ? Sum(bytes, static_cast<std::size_t>(length)) : 0;
  const CleXDSmb::VoidBlock taken = block.TakeVoidBlock();
  VEXA_ASSERT(taken.length == std::max(length, 0));
  VEXA_ASSERT(Sum(taken.data, static_cast<std::size_t>(taken.length)) == sum);
  VEXA_ASSERT(block.TakeVoidBlock().data == nullptr);
  // Its length is told elsewhere; it holds at least one byte, and one more.
  if (const char* const binary = block.GetBinaryData()) Sum(binary, 2);
  delete[] block.GetBinaryData();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Peer peer;
  std::vector<char> bytes(data, data + std::min(size, kMaxInput));
  CoverFirstPiece(bytes);
  peer.Write(bytes);

  CleXDSmb block;
  const int code = ReceiveData(peer.pipe(), block);
  peer.Drain();
  VEXA_ASSERT(bytes.size() >= CleXDSmb::LONG_LEN ? code == block.GetErrorCode()
                                                 : code == CleXDErrorCode::kPeerClosed);
  BuildAndParseAgain(block);
  TakeWhatTheCallerOwns(block);
  return 0;
}
