// The image of a message with something in every slot, as hexadecimal digits: the same on every machine of
// the same byte order, whatever the width of its words.
#include <CleXDSmb.h>

#include <cstdio>
#include <limits>

int main() {
  CleXDSmb message;
  message.SetCommandAction(CleXDSmb::CommandAction::GetRowCount);
  message.SetErrorCode(-7);
  for (const int value : {0, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
    message.SetLong(value);
  for (const double value : {0.1, -1e300, std::numeric_limits<double>::denorm_min()})
    message.SetDouble(value);
  message.SetString("Größe");
  message.SetString("");
  LongData longs;
  longs.SetValue(5);
  message.SetLongArray(longs);
  DoubleData doubles;
  doubles.SetValue(0.5);
  message.SetDoubleArray(doubles);
  StringData strings;
  strings.SetValue(std::string("x"));
  message.SetStringArray(strings);
  message.SetwString(L"wide Ω");
  message.SetBinaryString("\0\1\2", 3);
  message.AllocVoidData(9);
  message.SaveDataIntoVoidData("012345678", 9);
  message.ContructSendData();
  int length = 0;
  const char* const image = message.GetSendBuf(length);
  for (int i = 0; i < length; ++i) std::printf("%02x", static_cast<unsigned char>(image[i]));
  std::puts("");
}
