// What a backend or a host needs: a message there and back, by the headers for hosts.
#include <CleXDSmb.h>

#include <cstdio>

int main() {
  CleXDSmb sent, received;
  sent.SetString("Größe");
  sent.ContructSendData();
  int length = 0;
  received.ParseBuf(sent.GetSendBuf(length));
  std::puts(received.GetSingleString().c_str());
}
