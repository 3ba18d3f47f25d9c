#include "CleXDSmb.h"
#include "receive_frame.h"
#include "support/test.h"
#include "support/wire.h"

namespace {

using Action = CleXDSmb::CommandAction;

// Bytes from their hexadecimal text.
std::string Hex(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); i += 3)
    bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
  return bytes;
}

std::string ImageOf(CleXDSmb& block) {
  int length = 0;
  block.ContructSendData();
  const char* image = block.GetSendBuf(length);
  return {image, static_cast<std::size_t>(length)};
}

// From memory of exactly its size, so that the sanitizer sees a read outside.
void ParseExactly(CleXDSmb& block, const std::string& frame) {
  const auto copy = std::make_unique<char[]>(frame.size());
  std::memcpy(copy.get(), frame.data(), frame.size());
  block.ParseFrame(copy.get(), frame.size());
}

const Image kFull =
    MakeImage(228, Error{23}, Longs{1, -2}, Doubles{0.5, -0.0}, Strings{"age", "", std::string("a\0b", 3)},
              Records{{"ds", 7, 8, 0, 1.5, ""}, {"", -1, 2, 1, 0.0, "text"}}, LongLists{{3}, {}, {4, 5}},
              DoubleLists{{2.5}}, StringLists{{"x", ""}, {"yz"}}, Binary{std::string("\0bin", 4)},
              Wide{U"w\u20ac"}, Void{std::string("v\0id", 4)});

template <class Payload, class Lists>
std::vector<Payload> Payloads(const Lists& lists) {
  std::vector<Payload> payloads(lists.size());
  for (std::size_t i = 0; i < lists.size(); ++i) {
    for (const auto& value : lists[i]) payloads[i].SetValue(value);
  }
  return payloads;
}

TEST(Message, IsTheBytesOfTheExample) {
  CleXDSmb block;
  block.SetCommandAction(Action::GetVariableName);
  block.SetLong(4294967299);  // narrowed to the wire's width
  EXPECT_EQ(ImageOf(block),
            Hex("38 00 00 00 09 00 00 00 00 00 00 00 01 00 00 00 03 00 00 00") + std::string(36, '\0'));
}

TEST(Message, IsEmptyIn52BytesWithoutAnAction) {
  CleXDSmb block;
  block.SetString(nullptr);
  block.SetVoidData(std::malloc(8), 0);
  EXPECT_EQ(ImageOf(block), Hex("34 00 00 00 ff ff ff ff 00 00 00 00") + std::string(40, '\0'));
}

TEST(Message, ATextGoesOutAsFarAsItsLengthSays) {
  CleXDSmb block;
  for (const int length : {2, 1, 0, -1, INT_MIN}) block.SetString("ab", length);
  block.SetString(nullptr, 1);
  EXPECT_EQ(Decode(ImageOf(block)), MakeImage(-1, Strings{"ab", "a", "", "", ""}));
  EXPECT_EQ(block.TakeVoidBlock().length, 0);
}

TEST(Message, GoesOutWithEverySlot) {
  CleXDSmb block;
  block.SetCommandAction(static_cast<Action>(kFull.action));
  block.SetErrorCode(kFull.error);
  for (const int value : kFull.longs) block.SetLong(value);
  for (const double value : kFull.doubles) block.SetDouble(value);
  for (const std::string& text : kFull.strings) block.SetString(text.data(), static_cast<int>(text.size()));
  for (const Record& r : kFull.records)
    block.SetStruct({r.dataset, r.row, r.column, r.type, r.number, r.text});
  block.SetLongArray(Payloads<LongData>(kFull.long_lists));
  block.SetDoubleArray(Payloads<DoubleData>(kFull.double_lists));
  block.SetStringArray(Payloads<StringData>(kFull.string_lists));
  block.SetBinaryString(kFull.binary.data(), static_cast<int>(kFull.binary.size()));
  block.SetwString(L"w\u20ac");
  block.AllocVoidData(static_cast<int>(kFull.void_block.size()));
  block.SaveDataIntoVoidData(kFull.void_block.data(), 1);
  block.SaveDataIntoVoidData(kFull.void_block.data() + 1, static_cast<int>(kFull.void_block.size()) - 1);
  const std::unique_ptr<char[]> binary(block.GetBinaryData());
  EXPECT_EQ(Decode(ImageOf(block)), kFull);
}

TEST(Message, ComesInWithEverySlotAndAppends) {
  std::string image = Encode(kFull);
  CleXDSmb block;
  block.SetLong(9);
  block.ParseBuf(image.data());
  std::unique_ptr<char[]> binary(block.GetBinaryData());
  EXPECT_EQ(std::string(binary.get(), 5), kFull.binary + '\2')
      << "the first byte of the next section comes along";
  EXPECT_STREQ(block.GetwStringData(), L"w\u20ac");

  Image again = kFull;
  again.longs.insert(again.longs.begin(), 9);
  again.binary.clear();  // its length is told elsewhere, and so it does not go out again
  EXPECT_EQ(Decode(ImageOf(block)), again);
  block.ParseBuf(image.data());
  binary.reset(block.GetBinaryData());
  EXPECT_EQ(block.GetLongDataRef().Values(), (std::vector<std::int32_t>{9, 1, -2, 1, -2}));
  EXPECT_EQ(block.GetStringArrayRef().size(), 4u);
}

TEST(Message, APayloadTellsWhatItConsumed) {
  StringData texts, copy;
  texts.SetValue("ab");
  int length = 0, consumed = -7;
  texts.ConstructData(length);
  char* image = texts.ConstructData(length);  // the one before is gone
  copy = texts;                               // the values alone: the image stays with its maker
  copy.ParseData(nullptr, consumed);
  EXPECT_EQ(consumed, -7);
  copy.ParseData(image, consumed);
  EXPECT_EQ(consumed, 10);
  EXPECT_EQ(copy.GetData(), (std::vector<std::string>{"ab", "ab"}));
}

TEST(Message, KeepsTheWideStringUntilCleanUp) {
  CleXDSmb block;
  ParseExactly(
      block, Encode(MakeImage(228, Error{23}, Longs{1}, Doubles{1}, Strings{"a"}, Records{{}}, LongLists{{1}},
                              DoubleLists{{1}}, StringLists{{"a"}}, Wide{U"w\u20ac"}, Void{"void"})));
  block.CleanUpAllData();
  EXPECT_EQ(Decode(ImageOf(block)), MakeImage(228, Error{23}, Wide{U"w\u20ac"}));
  block.CleanUp();
  EXPECT_EQ(Decode(ImageOf(block)), MakeImage(228, Error{23}));
}

TEST(Message, SendsABinaryLengthThatLostItsBytes) {
  CleXDSmb block;
  block.SetBinaryString("abc", 3);
  const std::unique_ptr<char[]> taken(block.GetBinaryData());
  block.CleanUpAllData();
  EXPECT_EQ(ImageOf(block).substr(40), Hex("03 00 00 00") + std::string(8, '\0'));
  block.CleanUp();
  EXPECT_EQ(Decode(ImageOf(block)), Image());
}

TEST(Frame, IsWalkedToItsEndWhereverItBreaksOff) {
  const std::string whole = Encode(kFull);
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    CleXDSmb block;
    ParseExactly(block, whole.substr(0, size));
    const std::unique_ptr<char[]> binary(block.GetBinaryData());
    int void_length = -1;
    EXPECT_EQ(block.GetVoidData(void_length) != nullptr, size == whole.size());
    EXPECT_EQ(block.GetErrorCode(), size < 12 ? 0 : 23);
    EXPECT_EQ(block.GetLongDataRef().Size(), size < 24 ? 0 : 2);
  }
}

TEST(Frame, ItsVoidBlockIsAlignedWhateverStandsInFront) {
  for (const std::size_t in_front : {0, 1, 2, 3, 7, 8190, 9001, 20003}) {
    for (const std::size_t size : {1, 64, 20000}) {
      const std::string bytes(size, 'v');
      const std::string frame = Encode(MakeImage(228, Strings{std::string(in_front, 's')}, Void{bytes}));
      std::size_t at = 0;
      CleXDSmb block;
      FrameProgress progress;
      const auto read = [&](char* to, int room, unsigned long& got, bool) {
        got = frame.copy(to, static_cast<std::size_t>(room), at);
        at += got;
        return 0;
      };
      EXPECT_EQ(ReceiveFrame(block, -1, progress, read), 0);
      int length = 0;
      const void* const data = block.GetVoidData(length);
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % 16, 0u) << in_front << " and " << size;
      EXPECT_EQ(std::string(static_cast<const char*>(data), static_cast<std::size_t>(length)), bytes);
    }
  }
}

// --- Lent bytes ---

TEST(Message, LentBytesGoOutAsOwnOnesDo) {
  for (const std::size_t size : {0u, 1u, 5000u}) {
    const std::string bytes(size, 'v');
    GatheredRecords records;
    const Lender lender;
    const Image image =
        MakeImage(228, Longs{3}, Records{{"ds", 7, 8, 0, 1.5, ""}, {"a longer name", 7, 8, 1, 0.0, bytes}},
                  Wide{U"w"}, Void{bytes});
    ASSERT_TRUE(records.Append({"ds", 7, 8, 0, 1.5, ""}));
    ASSERT_TRUE(records.Append({"a longer name", 7, 8, 1, 0.0, bytes}));
    CleXDSmb block;
    block.SetCommandAction(static_cast<Action>(image.action));
    block.SetLong(3);
    block.SetwString(L"w");
    block.LendRecords(records.Lend(), records.Count());
    block.LendVoidData(lender.Lend(bytes.data(), bytes.size()));
    EXPECT_EQ(Decode(ImageOf(block)), image);
    std::string sent;
    for (const std::string_view run : block.BuildRuns()) sent += run;
    EXPECT_EQ(Decode(sent), image);
    EXPECT_EQ(block.Runs().size(), size == 5000 ? 4u : 1u);
  }
}

TEST(Message, NobodyFreesOrMovesWhatIsLent) {
  CleXDSmb block;
  GatheredRecords records;
  records.Append({"d", 1, 2, 0, 1.5, ""});
  block.LendRecords(records.Lend(), records.Count());
  const char* const kStops = "bytes that are lent were to go";
  EXPECT_DEATH(records.Clear(), kStops);
  EXPECT_DEATH(for (int i = 0; i < 1000; ++i) records.Append({"d", 1, 2, 0, 1.5, ""}), kStops);
  EXPECT_DEATH(GatheredRecords moved(std::move(records)), kStops);
  EXPECT_DEATH(records = GatheredRecords(), kStops);
  EXPECT_DEATH(records.~GatheredRecords(), kStops);
  block.CleanUp();
  records.ClearWithRoom();
}

TEST(Message, RecordsAreWalkedWhereTheyCameInOrUpToTheEnd) {
  const std::string frame =
      Encode(MakeImage(228, Records{{"ds", 7, 8, 0, 1.5, ""}, {"", -1, 2, 1, 0.0, "text"}}));
  for (const std::size_t cut : {0u, 30u, 31u}) {
    CleXDSmb block;
    block.ReadRecordsInPlace();
    ParseExactly(block, frame.substr(0, frame.size() - cut));
    EXPECT_TRUE(block.GetStructDataRef().Empty());
    std::vector<int> rows;
    CellRecord record;
    for (CellRecords walk = block.Records(); walk.Next(record);) rows.push_back(record.caseIndex);
    EXPECT_EQ(rows, cut == 0 ? (std::vector{7, -1}) : cut == 30 ? std::vector{7} : std::vector<int>()) << cut;
    block.CleanUp();
    EXPECT_FALSE(block.Records().Next(record));
  }
}

}  // namespace
